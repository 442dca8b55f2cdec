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
        case u'\n': result += QStringLiteral("\\n"); break;
        case u'\r': result += QStringLiteral("\\r"); break;
        case u'\t': result += QStringLiteral("\\t"); break;
        case u'\\': result += QStringLiteral("\\\\"); break;
        default: result += c;
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
        return styleAt(storage, i) + QLatin1Char(' ') + (parser ? parser->identifier() : QStringLiteral("none"))
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
    const QDir samples(MVTestEnvironment::fixturePath(QStringLiteral("languages")));
    const QStringList files = samples.entryList(QDir::Files, QDir::Name).filter(QRegularExpression(QStringLiteral("^sample\\.[a-z]+$")));
    ASSERT_GE(files.size(), 12);

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
        ASSERT_TRUE(reference.open(QIODevice::ReadOnly)) << "no reference " << referencePath.toStdString()
                                                         << "; run tools/regenerate-colour-references.sh";
        const QStringList expectedLines = QString::fromUtf8(reference.readAll()).split(QLatin1Char('\n'));
        const QStringList actualLines = actual.split(QLatin1Char('\n'));
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
    EXPECT_EQ(languagesSeen.size(), 12) << languagesSeen.join(QLatin1Char(' ')).toStdString();
}

} // namespace
