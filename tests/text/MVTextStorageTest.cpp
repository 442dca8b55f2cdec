#include "text/MVTextStorage.h"

#include "platform/MVNotificationCenter.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>

namespace {

// The reference: a string and one attribute set and attachment per character.
struct Model
{
    QString text;
    std::vector<MVTextAttributes> attributes;
    std::vector<std::shared_ptr<MVTextAttachment>> attachments;

    void replace(MVRange range, const QString &string, const MVTextAttributes *given)
    {
        MVTextAttributes inherited;
        if (given)
            inherited = *given;
        else if (range.length > 0)
            inherited = attributes[range.location];
        else if (range.location > 0)
            inherited = attributes[range.location - 1];
        else if (!attributes.empty())
            inherited = attributes[0];
        text.replace(range.location, range.length, string);
        attributes.erase(attributes.begin() + range.location, attributes.begin() + range.end());
        attributes.insert(attributes.begin() + range.location, string.size(), inherited);
        attachments.erase(attachments.begin() + range.location, attachments.begin() + range.end());
        attachments.insert(attachments.begin() + range.location, string.size(), nullptr);
    }
};

MVTextAttributes randomAttributes(QRandomGenerator &random)
{
    static const int parsers[3] = {1, 2, 3};
    MVTextAttributes a;
    const int bits = random.bounded(32);
    if (bits & 1)
        a.setParser(&parsers[random.bounded(3)]);
    if (bits & 2)
        a.setMultiLine();
    if (bits & 4)
        a.setForeground(QColor::fromRgb(random.bounded(3) * 100, 0, 0));
    if (bits & 8)
        a.setBackground(Qt::white);
    if (bits & 16)
        a.setTraits(MVFontTrait::Bold);
    return a;
}

MVRange randomRange(QRandomGenerator &random, qsizetype length, int maxLength)
{
    const qsizetype location = random.bounded(int(length + 1));
    return MVRange{location, random.bounded(int(qMin<qsizetype>(maxLength, length - location) + 1))};
}

void expectSameAsModel(const MVTextStorage &storage, const Model &model, QRandomGenerator &random)
{
    ASSERT_EQ(storage.string(), model.text);
    for (qsizetype i = 0; i < model.text.size(); ++i) {
        MVRange run;
        ASSERT_EQ(storage.attributesAtIndex(i, &run), model.attributes[i]) << "index " << i;
        ASSERT_TRUE(run.contains(i));
        ASSERT_EQ(storage.attributesAtIndex(run.location), model.attributes[i]);
        ASSERT_EQ(storage.attributesAtIndex(run.end() - 1), model.attributes[i]);
        ASSERT_EQ(storage.attachmentAtIndex(i), model.attachments[i]);
    }
    // Longest effective ranges of single attributes, within random limits.
    const MVAttribute keys[] = {MVAttribute::Parser, MVAttribute::MultiLine, MVAttribute::ForegroundColor,
                                MVAttribute::Attachment};
    for (int probe = 0; probe < 50 && !model.text.isEmpty(); ++probe) {
        const MVAttribute key = keys[random.bounded(4)];
        const qsizetype index = random.bounded(int(model.text.size()));
        const qsizetype limitStart = random.bounded(int(index + 1));
        const MVRange limit{limitStart, index + 1 - limitStart + random.bounded(int(model.text.size() - index))};
        auto valueAt = [&](qsizetype i) {
            if (key == MVAttribute::Attachment)
                return MVAttributeValue{model.attachments[i] != nullptr, quint64(quintptr(model.attachments[i].get()))};
            return model.attributes[i].value(key);
        };
        qsizetype start = index;
        while (start > limit.location && valueAt(start - 1) == valueAt(index))
            --start;
        qsizetype end = index + 1;
        while (end < limit.end() && valueAt(end) == valueAt(index))
            ++end;
        MVRange longest;
        ASSERT_EQ(storage.attribute(key, index, &longest, limit), valueAt(index));
        ASSERT_EQ(longest, (MVRange{start, end - start})) << "key " << int(key) << " index " << index;
    }
}

} // namespace

TEST(MVTextStorage, RandomEditsMatchAReferenceOfCharactersAndAttributes)
{
    QRandomGenerator random(4242);
    for (int round = 0; round < 4; ++round) {
        MVTextStorage storage;
        Model model;
        for (int step = 0; step < 3000; ++step) {
            const int kind = random.bounded(12);
            if (kind < 3) {
                const MVRange range = randomRange(random, model.text.size(), 5);
                const QString text = QString(random.bounded(6), QChar(u'a' + random.bounded(3)));
                storage.replaceCharacters(range, text);
                model.replace(range, text, nullptr);
            } else if (kind < 4) {
                const MVRange range = randomRange(random, model.text.size(), 5);
                const QString text = QString(random.bounded(600), u'x');
                const MVTextAttributes attributes = randomAttributes(random);
                storage.replaceCharacters(range, text, attributes);
                model.replace(range, text, &attributes);
            } else if (kind < 7) {
                const MVRange range = randomRange(random, model.text.size(), 300);
                const MVTextAttributes attributes = randomAttributes(random);
                storage.addAttributes(attributes, range);
                for (qsizetype i = range.location; i < range.end(); ++i)
                    model.attributes[i].add(attributes);
            } else if (kind < 9) {
                const MVRange range = randomRange(random, model.text.size(), 300);
                const MVAttribute key = MVAttribute(random.bounded(5));
                storage.removeAttribute(key, range);
                for (qsizetype i = range.location; i < range.end(); ++i)
                    model.attributes[i].remove(key);
            } else if (kind < 11) {
                const MVRange range = randomRange(random, model.text.size(), random.bounded(2) ? 40 : 2000);
                const MVTextAttributes attributes = randomAttributes(random);
                storage.setAttributes(attributes, range);
                for (qsizetype i = range.location; i < range.end(); ++i)
                    model.attributes[i] = attributes;
            } else {
                const MVRange range = randomRange(random, model.text.size(), 20);
                auto attachment = storage.attachmentForRange(range);
                ASSERT_EQ(attachment->string(), [&] {
                    QString full;
                    for (qsizetype i = range.location; i < range.end(); ++i)
                        full += model.attachments[i] ? model.attachments[i]->string() : QString(model.text.at(i));
                    return full;
                }());
                storage.replaceCharactersWithAttachment(range, attachment);
                const MVTextAttributes none;
                model.replace(range, QString(QChar(0xFFFC)), &none);
                model.attachments[range.location] = attachment;
            }
            if (step % 250 == 0)
                expectSameAsModel(storage, model, random);
        }
        expectSameAsModel(storage, model, random);
    }
}

TEST(MVTextStorage, AttributesAtOrPastTheEndAreEmpty)
{
    MVTextStorage storage(QStringLiteral("ab"));
    storage.addAttributes(MVTextAttributes().setMultiLine(), {0, 2});
    MVRange range{5, 5};
    EXPECT_TRUE(storage.attributesAtIndex(2, &range).isEmpty());
    EXPECT_EQ(range, (MVRange{0, 0}));
    EXPECT_FALSE(storage.attribute(MVAttribute::MultiLine, 2, &range, {0, 2}).isSet);
    EXPECT_EQ(range, (MVRange{0, 0}));
    EXPECT_TRUE(storage.attribute(MVAttribute::MultiLine, 1, &range, {0, 1}).isSet);
    EXPECT_EQ(range, (MVRange{0, 1}));
    const int parser = 0;
    storage.addAttribute(MVAttribute::Parser, quint64(quintptr(&parser)), {1, 1});
    EXPECT_EQ(storage.attribute(MVAttribute::Parser, 1).pointer(), &parser);
    EXPECT_FALSE(storage.attribute(MVAttribute::Parser, 0, &range).isSet);
}

TEST(MVTextStorage, BatchedEditsReportOnceWithTheirUnion)
{
    MVTextStorage storage(QStringLiteral("0123456789"));
    int reports = 0;
    int mask = 0;
    MVRange range;
    qsizetype change = 0;
    const int token = storage.addEditingObserver([&](const MVTextStorage &s) {
        ++reports;
        mask = s.editedMask();
        range = s.editedRange();
        change = s.changeInLength();
    });
    int notifications = 0;
    MVObservation observation(MVTextStorage::didProcessEditingNotification(), &storage,
                              [&](const MVNotification &) { ++notifications; });

    storage.replaceCharacters({2, 1}, QStringLiteral("abc"));
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(mask, MVTextStorage::EditedCharacters);
    EXPECT_EQ(range, (MVRange{2, 3}));
    EXPECT_EQ(change, 2);
    EXPECT_EQ(storage.editedMask(), 0); // cleared after the report

    storage.beginEditing();
    storage.replaceCharacters({8, 2}, QString()); // "01abc3" + "6789"... delete two
    storage.addAttributes(MVTextAttributes().setMultiLine(), {0, 1});
    storage.beginEditing();
    storage.replaceCharacters({1, 0}, QStringLiteral("!"));
    storage.endEditing();
    EXPECT_EQ(reports, 1);
    storage.endEditing();
    EXPECT_EQ(reports, 2);
    EXPECT_EQ(notifications, 2);
    EXPECT_EQ(mask, MVTextStorage::EditedCharacters | MVTextStorage::EditedAttributes);
    EXPECT_EQ(change, -1);
    EXPECT_EQ(range.location, 0);
    EXPECT_GE(range.end(), 8);
    storage.removeEditingObserver(token);
    storage.addAttributes(MVTextAttributes().setMultiLine(), {0, 3});
    EXPECT_EQ(reports, 2);
}

TEST(MVTextStorage, AttachmentsStandForTheirTextAndMoveWithEdits)
{
    MVTextStorage storage(QStringLiteral("if {\n  a;\n  b;\n}\n"));
    const MVRange fold{4, 10}; // "\n  a;\n  b;"
    auto attachment = storage.attachmentForRange(fold);
    EXPECT_EQ(attachment->numberOfLines(), 3);
    storage.replaceCharactersWithAttachment(fold, attachment);
    EXPECT_EQ(storage.string(), QStringLiteral("if {") + QChar(0xFFFC) + QStringLiteral("\n}\n"));
    EXPECT_EQ(storage.fullString(), QStringLiteral("if {\n  a;\n  b;\n}\n"));
    EXPECT_EQ(storage.stringWithoutAttachmentsInRange({0, storage.length()}), QStringLiteral("if { \n}\n"));

    // A U+FFFC typed by the user is an ordinary character.
    storage.replaceCharacters({0, 0}, QString(QChar(0xFFFC)));
    EXPECT_EQ(storage.attachmentAtIndex(0), nullptr);
    EXPECT_EQ(storage.attachmentAtIndex(5), attachment);
    EXPECT_EQ(storage.fullString(), QString(QChar(0xFFFC)) + QStringLiteral("if {\n  a;\n  b;\n}\n"));

    MVRange found;
    EXPECT_EQ(storage.nextAttachmentAfterIndex(0, &found), attachment);
    EXPECT_EQ(found, (MVRange{5, 1}));
    EXPECT_EQ(storage.previousAttachmentBeforeIndex(8, &found), attachment);
    EXPECT_EQ(storage.previousAttachmentBeforeIndex(4, &found), nullptr);
    EXPECT_EQ(storage.nextAttachmentAfterIndex(storage.length(), &found), nullptr);
    EXPECT_EQ(storage.firstAttachmentInRange({1, 6}), attachment);
    EXPECT_EQ(storage.firstAttachmentInRange({6, 3}), nullptr);

    // Expanding replaces the character by the text and the attachment is gone.
    storage.replaceCharacters({5, 1}, attachment->string());
    EXPECT_EQ(storage.attachmentCount(), 0);
    EXPECT_EQ(storage.string(), storage.fullString());
}

TEST(MVTextStorage, ManyRunsStayCheapAndCorrect)
{
    // 200k runs as a parser writes them: alternating colours per token.
    QString text;
    for (int i = 0; i < 100000; ++i)
        text += QStringLiteral("tok ");
    MVTextStorage storage(text);
    const MVTextAttributes keyword = MVTextAttributes().setForeground(Qt::blue);
    const MVTextAttributes plain = MVTextAttributes().setForeground(Qt::black);
    storage.beginEditing();
    for (qsizetype i = 0; i < text.size(); i += 4) {
        storage.addAttributes(keyword, {i, 3});
        storage.addAttributes(plain, {i + 3, 1});
    }
    storage.endEditing();
    EXPECT_EQ(storage.runCount(), 200000);
    MVRange run;
    EXPECT_EQ(storage.attributesAtIndex(200001, &run).foreground(), QColor(Qt::blue).rgba());
    EXPECT_EQ(run, (MVRange{200000, 3}));
    // Typing in the middle keeps everything after it in place.
    storage.replaceCharacters({200001, 0}, QStringLiteral("zz"));
    EXPECT_EQ(storage.attributesAtIndex(200005).foreground(), QColor(Qt::black).rgba());
    EXPECT_EQ(storage.attributesAtIndex(200006).foreground(), QColor(Qt::blue).rgba());
    // Whole-text reset merges everything back into one run.
    storage.setAttributes(plain, {0, storage.length()});
    EXPECT_EQ(storage.runCount(), 1);
}

namespace {

// A random overlay and the same changes made to the model one by one.
void applyRandomOverlay(MVTextStorage &storage, Model &model, QRandomGenerator &random)
{
    static const int parsers[3] = {1, 2, 3};
    const qsizetype n = model.text.size();
    MVAttributeOverlay overlay;
    std::vector<std::pair<MVRange, MVTextAttributes>> changes;
    const MVRange base = randomRange(random, n, int(n));
    const MVTextAttributes baseAttributes = randomAttributes(random);
    const bool withBase = random.bounded(4) != 0;
    std::vector<MVAttribute> removed;
    if (withBase) {
        if (random.bounded(2))
            removed.push_back(MVAttribute::MultiLine);
        if (random.bounded(2))
            removed.push_back(MVAttribute::BackgroundColor);
        if (removed.size() == 2)
            overlay.setBase(base, baseAttributes, {MVAttribute::MultiLine, MVAttribute::BackgroundColor});
        else if (removed.size() == 1)
            overlay.setBase(base, baseAttributes, {removed[0]});
        else
            overlay.setBase(base, baseAttributes);
    }
    // Dense tokens in order as a parser writes them, loose ranges that
    // overlap and leave the text, and parser marks over stretches; a pass
    // may mix them.
    const int style = random.bounded(4);
    qsizetype position = random.bounded(int(n + 1));
    for (int i = random.bounded(300); i > 0; --i) {
        MVRange range;
        MVTextAttributes attributes;
        const int kind = style == 3 ? random.bounded(3) : style;
        if (kind == 0) {
            position += random.bounded(4);
            range = MVRange{position, random.bounded(1, 12)};
            position = range.end();
            attributes = randomAttributes(random);
        } else if (kind == 1) {
            range = MVRange{random.bounded(int(n + 20)) - 10, random.bounded(40)};
            attributes = randomAttributes(random);
        } else {
            range = randomRange(random, n, 200);
            attributes.setParser(&parsers[random.bounded(3)]);
        }
        if (attributes.isEmpty())
            continue;
        if (kind == 2)
            overlay.addParser(attributes.parser(), range);
        else
            overlay.add(attributes, range);
        changes.emplace_back(range, attributes);
    }
    storage.applyAttributeOverlay(overlay);

    if (withBase) {
        for (qsizetype i = base.location; i < base.end(); ++i) {
            model.attributes[i].add(baseAttributes);
            for (const MVAttribute key : removed)
                model.attributes[i].remove(key);
        }
    }
    for (const auto &[range, attributes] : changes) {
        for (qsizetype i = qMax<qsizetype>(0, range.location); i < qMin(n, range.end()); ++i)
            model.attributes[i].add(attributes);
    }
}

void setRandomRuns(MVTextStorage &storage, Model &model, QRandomGenerator &random)
{
    const MVRange range = randomRange(random, model.text.size(), random.bounded(2) ? 50 : 5000);
    std::vector<MVTextStorage::AttributeRun> runs;
    qsizetype covered = 0;
    // Usually the runs fill the range exactly; sometimes they fall short or
    // run over.
    const qsizetype target = range.length + (random.bounded(4) == 0 ? random.bounded(21) - 10 : 0);
    while (covered < target) {
        const qsizetype length = qMin<qsizetype>(target - covered, random.bounded(1, 30));
        runs.emplace_back(length, randomAttributes(random));
        covered += length;
    }
    storage.setAttributeRuns(range, runs);
    MVTextAttributes last;
    qsizetype i = range.location;
    for (const auto &[length, attributes] : runs) {
        for (qsizetype k = 0; k < length && i < range.end(); ++k)
            model.attributes[i++] = attributes;
        last = attributes;
    }
    while (i < range.end())
        model.attributes[i++] = last;
}

} // namespace

TEST(MVTextStorage, BulkWritesMatchTheSameChangesMadeOneByOne)
{
    QRandomGenerator random(777);
    // Small texts exercise the edges; the large one spreads the runs over
    // many blocks, so that a write replaces, adds and drops blocks.
    for (const int size : {0, 40, 3000, 60000}) {
        MVTextStorage storage;
        Model model;
        const QString initial(size, u'a');
        storage.replaceCharacters({0, 0}, initial);
        model.replace({0, 0}, initial, nullptr);
        const int steps = size > 10000 ? 120 : 400;
        for (int step = 0; step < steps; ++step) {
            const int kind = random.bounded(10);
            if (kind < 5) {
                applyRandomOverlay(storage, model, random);
            } else if (kind < 8) {
                setRandomRuns(storage, model, random);
            } else if (kind < 9) {
                // Tokens over the whole text at once, as a full colouring.
                MVAttributeOverlay overlay;
                std::vector<MVTextAttributes> sets;
                for (int i = 0; i < 6; ++i)
                    sets.push_back(randomAttributes(random));
                for (qsizetype i = 0; i + 3 <= model.text.size(); i += 3 + random.bounded(3)) {
                    const MVTextAttributes &attributes = sets[random.bounded(6)];
                    overlay.add(attributes, {i, 3});
                    for (qsizetype k = i; k < i + 3; ++k)
                        model.attributes[k].add(attributes);
                }
                storage.applyAttributeOverlay(overlay);
            } else {
                const MVRange range = randomRange(random, model.text.size(), 20);
                const QString text = QString(random.bounded(30), u'b');
                storage.replaceCharacters(range, text);
                model.replace(range, text, nullptr);
            }
            if (step % 40 == 0 || size < 5000)
                expectSameAsModel(storage, model, random);
        }
        expectSameAsModel(storage, model, random);
    }
}

TEST(MVTextStorage, AnOverlayIsOneEditOverAllItTouches)
{
    MVTextStorage storage(QStringLiteral("0123456789abcdef"));
    int reports = 0;
    MVRange range;
    storage.addEditingObserver([&](const MVTextStorage &s) {
        ++reports;
        range = s.editedRange();
        EXPECT_EQ(s.editedMask(), MVTextStorage::EditedAttributes);
    });
    MVAttributeOverlay overlay;
    overlay.setBase({4, 4}, MVTextAttributes().setForeground(Qt::black));
    overlay.add(MVTextAttributes().setForeground(Qt::red), {6, 6});
    overlay.add(MVTextAttributes().setForeground(Qt::blue), {2, 1});
    storage.applyAttributeOverlay(overlay);
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(range, (MVRange{2, 10}));
    // Nothing to change reports nothing.
    overlay.clear();
    storage.applyAttributeOverlay(overlay);
    overlay.add(MVTextAttributes(), {0, 4});
    overlay.add(MVTextAttributes().setMultiLine(), {20, 4});
    storage.applyAttributeOverlay(overlay);
    EXPECT_EQ(reports, 1);
}
