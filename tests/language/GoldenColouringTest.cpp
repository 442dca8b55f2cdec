// Each sample under tests/fixtures/languages is coloured by the shipped
// language of its extension and compared with the colour runs stored beside
// it ("<sample>.colours"). A change to a parser or a language file that
// changes the colours fails here; when the change is wanted, regenerate the
// references with tools/regenerate-colour-references.sh and review the diff.
#include "ColouringTestSupport.h"

#include "app/Defaults.h"
#include "language/MVBundle.h"
#include "language/MVBundleRepository.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace ColouringTest;

namespace {

const QString Shipped = QStringLiteral(MORVEL_SOURCE_DIR "/resources");

QString escaped(QStringView text)
{
    QString result;
    for (const QChar c : text) {
        switch (c.unicode()) {
        case u'\n':
            result += "\\n";
            break;
        case u'\r':
            result += "\\r";
            break;
        case u'\t':
            result += "\\t";
            break;
        case u'\\':
            result += "\\\\";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// One line per run of equal style, multi-line mark and parser:
// "location length style parser[ multi-line] | text".
QString describeRuns(const MVTextStorage &storage)
{
    QString out;
    qsizetype start = 0;
    auto keyAt = [&](qsizetype i) {
        const MVTextAttributes a = storage.attributesAtIndex(i);
        const auto *parser = static_cast<const MVParser *>(a.parser());
        return styleAt(storage, i) + ' ' + (parser ? parser->identifier() : "none")
            + (a.isMultiLine() ? QStringLiteral(" multi-line") : QString());
    };
    while (start < storage.length()) {
        const QString key = keyAt(start);
        qsizetype end = start + 1;
        while (end < storage.length() && keyAt(end) == key)
            ++end;
        QString text = escaped(storage.substring(MVRange{start, end - start}));
        if (text.size() > 60)
            text = text.left(57) + QStringLiteral("...");
        out += QStringLiteral("%1 %2 %3 | %4\n").arg(start).arg(end - start).arg(key, text);
        start = end;
    }
    return out;
}

class GoldenColouringTest : public ::testing::Test
{
protected:
    void SetUp() override { Defaults::setResourcesPathForTesting(Shipped); }
    void TearDown() override { Defaults::setResourcesPathForTesting(QString()); }
};

TEST_F(GoldenColouringTest, SamplesColourAsRecorded)
{
    const bool regenerate = qEnvironmentVariableIsSet("MORVEL_REGENERATE_COLOUR_REFERENCES");
    const QDir samples(MVTestEnvironment::fixturePath("languages"));
    const QStringList files
        = samples.entryList(QDir::Files, QDir::Name).filter(QRegularExpression("^sample(-[a-z]+)?\\.[a-z]+$"));
    ASSERT_GE(files.size(), 13);

    MVBundleRepository repository;
    const auto theme = styleTheme();
    QStringList languagesSeen;
    for (const QString &name : files) {
        SCOPED_TRACE(name.toStdString());
        QFile input(samples.filePath(name));
        ASSERT_TRUE(input.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(input.readAll());
        const auto bundle = repository.bundleForPath(name);
        ASSERT_TRUE(bundle && bundle->parser());
        languagesSeen << bundle->identifier();
        bundle->parser()->setTheme(theme);

        MVTextStorage storage(text);
        colour(storage, bundle->parser().get());
        const QString actual = describeRuns(storage);

        const QString referencePath = samples.filePath(name + QStringLiteral(".colours"));
        if (regenerate) {
            QFile out(referencePath);
            ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
            out.write(actual.toUtf8());
            continue;
        }
        QFile reference(referencePath);
        ASSERT_TRUE(reference.open(QIODevice::ReadOnly))
            << "no reference " << referencePath.toStdString() << "; run tools/regenerate-colour-references.sh";
        const QStringList expectedLines = QString::fromUtf8(reference.readAll()).split('\n');
        const QStringList actualLines = actual.split('\n');
        // Report the first run that differs rather than two whole files.
        for (qsizetype i = 0; i < std::max(expectedLines.size(), actualLines.size()); ++i) {
            const QString expected = expectedLines.value(i);
            const QString got = actualLines.value(i);
            if (expected != got) {
                ADD_FAILURE() << name.toStdString() << " run " << i << "\n  expected: " << expected.toStdString()
                              << "\n  actual:   " << got.toStdString();
                break;
            }
        }
    }
    // Every shipped language has a sample.
    languagesSeen.removeDuplicates();
    EXPECT_EQ(languagesSeen.size(), 12) << languagesSeen.join(' ').toStdString();
}

// The style of each character of text coloured alone by parser.
QStringList stylesOf(const QString &text, const MVParser *parser)
{
    MVTextStorage storage(text);
    colour(storage, parser);
    QStringList styles;
    for (qsizetype i = 0; i < storage.length(); ++i)
        styles << styleAt(storage, i);
    return styles;
}

// The runs of the text that a parser other than outer coloured, with it.
std::vector<std::pair<MVRange, const MVParser *>> regionsIn(const MVTextStorage &storage, const MVParser *outer)
{
    std::vector<std::pair<MVRange, const MVParser *>> result;
    qsizetype i = 0;
    while (i < storage.length()) {
        const auto *parser = static_cast<const MVParser *>(storage.attributesAtIndex(i).parser());
        qsizetype end = i + 1;
        while (end < storage.length() && storage.attributesAtIndex(end).parser() == parser)
            ++end;
        if (parser && parser != outer)
            result.emplace_back(MVRange{i, end - i}, parser);
        i = end;
    }
    return result;
}

// Every region of a page colours as the same text in a file of its own.
void expectRegionsColourAsAlone(const MVTextStorage &page, const MVParser *outer, QStringList &identifiersSeen,
                                QStringView only = {})
{
    for (const auto &[range, parser] : regionsIn(page, outer)) {
        if (!only.isEmpty() && parser->identifier() != only)
            continue;
        identifiersSeen << parser->identifier();
        const QString text = page.substring(range);
        const QStringList alone = stylesOf(text, parser);
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (styleAt(page, range.location + i) != alone[i]) {
                ADD_FAILURE() << parser->identifier().toStdString() << " region at " << range.location << " differs at "
                              << i << ": " << text.left(i + 1).right(40).toStdString();
                break;
            }
        }
    }
}

// A PHP template from a real theme: its markup colours as the page without
// its PHP blocks colours as HTML, every PHP block as PHP code on its own,
// and the scripts and styles as JavaScript and CSS files.
TEST_F(GoldenColouringTest, TemplateColoursEachLanguageAsItsOwnFile)
{
    QFile input(MVTestEnvironment::fixturePath("languages/sample-wordpress.php"));
    ASSERT_TRUE(input.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(input.readAll());
    MVBundleRepository repository;
    const auto theme = styleTheme();
    const auto template_ = repository.bundleForPath("page.php")->parser();
    const auto html = repository.bundleForPath("page.html")->parser();
    template_->setTheme(theme);
    html->setTheme(theme);

    MVTextStorage page(text);
    colour(page, template_.get());
    // PHP blocks here; scripts and styles, which PHP blocks cut into pieces,
    // in the page without them below.
    QStringList seen;
    expectRegionsColourAsAlone(page, template_.get(), seen, u"text.php.code");

    // The page without its PHP blocks, delimiters included, which are tags.
    QString markup;
    std::vector<qsizetype> origin;
    qsizetype next = 0;
    for (const auto &[body, parser] : regionsIn(page, template_.get())) {
        if (parser->identifier() != "text.php.code")
            continue;
        const qsizetype open = text.lastIndexOf("<?", body.location);
        const qsizetype close = text.mid(body.end(), 2) == "?>" ? body.end() + 2 : body.end();
        for (qsizetype i = open; i < close; ++i) {
            if (i < body.location || i >= body.end()) {
                EXPECT_EQ(styleAt(page, i), "markup.tag") << "delimiter at " << i;
            }
        }
        for (; next < open; ++next) {
            markup += text[next];
            origin.push_back(next);
        }
        next = close;
    }
    for (; next < text.size(); ++next) {
        markup += text[next];
        origin.push_back(next);
    }
    const QStringList asHtml = stylesOf(markup, html.get());
    for (qsizetype i = 0; i < markup.size(); ++i) {
        if (styleAt(page, origin[size_t(i)]) != asHtml[i]) {
            ADD_FAILURE() << "markup differs at " << origin[size_t(i)] << ": "
                          << markup.left(i + 1).right(40).toStdString();
            break;
        }
    }
    MVTextStorage htmlPage(markup);
    colour(htmlPage, html.get());
    expectRegionsColourAsAlone(htmlPage, html.get(), seen);

    seen.removeDuplicates();
    seen.sort();
    EXPECT_EQ(seen.join(' '), "text.css text.js text.php.code");
    EXPECT_TRUE(asHtml.contains("markup.tag") && asHtml.contains("markup.comment"));
}

// Pages that mix languages, and patterns whose shorter alternatives come
// first in the text.
TEST_F(GoldenColouringTest, MixedPagesAndPatterns)
{
    struct Case
    {
        const char *file;
        const char *text;
        const char *tokens;
    };
    const Case cases[] = {
        // An apostrophe in a PHP comment does not hide the end of the block.
        {"page.php", "<?php // it's\n?>\n<p class=\"x\">it's</p>",
         "<?php=markup.tag|// it's=comment.line|?>=markup.tag|<p class==markup.tag|\"x\"=markup.string|>=markup.tag|"
         "</p>=markup.tag"},
        {"page.php", "<?php # it's ?><!-- c --><b>",
         "<?php=markup.tag|# it's =comment.line|?>=markup.tag|<!-- c -->=markup.comment|<b>=markup.tag"},
        // PHP inside a tag, an attribute value and a script string.
        {"page.php", "<a <?php echo $c ?> href=\"<?= $url ?>\">",
         "<a <?php=markup.tag|echo=function.builtin|$c=variable|?> href==markup.tag|"
         "\"=markup.string|<?==markup.tag|$url=variable|?>=markup.tag|\"=markup.string|>=markup.tag"},
        {"page.php", "<script>if ('<?php echo \"it's\" ?>') {}</script>",
         "<script>=markup.tag|if=keyword.control|'=string.single|<?php=markup.tag|echo=function.builtin|"
         "\"it's\"=string.double|?>=markup.tag|'=string.single|</script>=markup.tag"},
        // Attributes of an element that holds another language are the tag's.
        {"page.html", "<script async defer>async</script>",
         "<script async defer>=markup.tag|async=keyword.declaration|</script>=markup.tag"},
        {"style.css", "a { color: #000000; background: #ff00aa80 #abc; }",
         "a=css.selector|color=css.property|#000000=constant|background=css.property|#ff00aa80=constant|#abc=constant"},
        {"app.js", "x = 0x1f + 10;", "0x1f=constant.numeric|10=constant.numeric"},
    };
    MVBundleRepository repository;
    const auto theme = styleTheme();
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        const auto parser = repository.bundleForPath(QLatin1String(c.file))->parser();
        parser->setTheme(theme);
        MVTextStorage storage(QString::fromUtf8(c.text));
        colour(storage, parser.get());
        EXPECT_EQ(tokens(storage), QString::fromUtf8(c.tokens));
    }
}

} // namespace
