#include "files/FileEncodings.h"

#include "platform/MVUserDefaults.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

using namespace FileEncodings;

namespace {

constexpr MVStringEncoding cf(MVStringEncoding value)
{
    return 0x80000000u + value;
}

// Sets the default encoding preference for the length of a scope.
class DefaultEncodingScope
{
public:
    explicit DefaultEncodingScope(const QString &name)
    {
        MVUserDefaults::standard().setObject(QStringLiteral("MVTextEncoding"), name);
    }
    ~DefaultEncodingScope() { MVUserDefaults::standard().removeObject(QStringLiteral("MVTextEncoding")); }
};

QByteArray lines(int count, const QByteArray &line = "<p>text</p>\n")
{
    QByteArray result;
    for (int i = 0; i < count; ++i)
        result += line;
    return result;
}

} // namespace

TEST(FileEncodings, NamesAndNumbers)
{
    for (const char *utf8 : {"utf-8", "utf_8", "utf8"})
        EXPECT_EQ(encodingFromString(utf8), 4u) << utf8;
    EXPECT_EQ(encodingFromString("iso_8859_15"), cf(0x20F));

    // Exact comparison after removing the separators: case matters, and
    // names that are not in the table are unknown.
    for (const char *unknown : {"UTF-8", "Utf-8", "ISO-8859-1", "iso-8859-6", "windows-1258", "latin1", "utf-32", "",
                                "-", "utf 8"})
        EXPECT_EQ(encodingFromString(QString::fromLatin1(unknown)), 0u) << unknown;
    EXPECT_EQ(encodingFromString(QString()), 0u);

    EXPECT_EQ(stringFromEncoding(30), "macintosh");
    EXPECT_EQ(stringFromEncoding(cf(0xA04)), "macintosh");
    EXPECT_EQ(stringFromEncoding(cf(0x208)), "iso-8859-8-i");
    EXPECT_TRUE(stringFromEncoding(0).isNull());
    EXPECT_TRUE(stringFromEncoding(cf(0x500)).isNull());

    const QList<MVStringEncoding> all = allEncodings();
    EXPECT_EQ(all.size(), 33);
    for (MVStringEncoding encoding : all)
        EXPECT_EQ(encodingFromString(stringFromEncoding(encoding)), encoding) << encoding;
}

TEST(FileEncodings, EveryEncodingOfTheTableRoundTrips)
{
    const QMap<QString, QString> samples = {
        {"iso-8859-1", "Grüße, café à la crème ÿ"},
        {"iso-8859-2", "Zażółć gęślą jaźń"},
        {"iso-8859-3", "Ĉu ĝi ŝanĝiĝis? ħ"},
        {"iso-8859-4", "Ābols ķēniņš ŗ"},
        {"iso-8859-5", "Привет, мир"},
        {"iso-8859-6-i", "مرحبا بالعالم"},
        {"iso-8859-7", "Καλημέρα κόσμε"},
        {"iso-8859-8-i", "שלום עולם"},
        {"iso-8859-9", "Türkçe ığüşöç İŞĞ"},
        {"iso-8859-10", "Þórður ŋ ĸ ð"},
        {"iso-8859-11", "สวัสดีครับ"},
        {"iso-8859-13", "Ąžuolas ėų"},
        {"iso-8859-14", "Ŵŷ ẃ ḃ"},
        {"iso-8859-15", "€ œ Š ž Ÿ"},
        {"us-ascii", "<p class=\"x\">plain & simple</p>"},
        {"euc-jp", "日本語のテキスト"},
        {"shift-jis", "日本語のテキスト"},
        {"iso-2022-jp", "日本語 and ASCII 混在"},
        {"euc-kr", "안녕하세요"},
        {"gb2312", "简体中文"},
        {"big-5", "繁體中文"},
        {"koi8-r", "Привет"},
        {"macintosh", "Café ≠ π ∞ ﬁ"},
        {"windows-1250", "Zażółć gęślą"},
        {"windows-1251", "Привет"},
        {"windows-1252", "Noël été “€” \u0081\u009D"},
        {"windows-1253", "Καλημέρα"},
        {"windows-1254", "Türkçe ığ"},
        {"windows-1255", "שלום"},
        {"windows-1256", "مرحبا"},
        {"windows-1257", "Ąžuolas"},
        {"utf-8", "emoji 😀 and ü"},
        {"utf-16", "emoji 😀 and ü"},
    };
    ASSERT_EQ(samples.size(), allEncodings().size());
    QList<MVStringEncoding> encodings = allEncodings();
    encodings << MacRomanEncoding;
    for (MVStringEncoding encoding : encodings) {
        const QString name = stringFromEncoding(encoding);
        const QString text = samples.value(name) + QStringLiteral("\nline two\r\n");
        std::optional<QByteArray> bytes = dataUsingEncodingStrictly(text, encoding);
        ASSERT_TRUE(bytes) << name.toStdString();
        if (encoding != UTF8Encoding && encoding != UTF16Encoding && encoding != ASCIIEncoding) {
            EXPECT_NE(*bytes, text.toUtf8()) << name.toStdString();
        }

        MVStringEncoding used = encoding;
        MVError error;
        std::optional<QString> decoded = createWithData(*bytes, QStringLiteral("/nowhere/page.html"), &used, &error);
        ASSERT_TRUE(decoded) << name.toStdString();
        EXPECT_EQ(*decoded, text) << name.toStdString();
        EXPECT_EQ(used, encoding);
        EXPECT_TRUE(error.isNull()) << name.toStdString();
    }
}

TEST(FileEncodings, StrictConversionFailuresAreDetected)
{
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("price: 5 €"), ISOLatin1Encoding));
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("naïve"), ASCIIEncoding));
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("日本"), cf(0x202)));
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("x") + QChar(0xD800) + "y", UTF8Encoding));
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("x") + QChar(0xDC00), UTF16Encoding));
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("text"), 12345));

    EXPECT_FALSE(stringFromData(QByteArray("caf\xC3"), UTF8Encoding));
    EXPECT_FALSE(stringFromData(QByteArray("\xED\xA0\x80"), UTF8Encoding)); // an encoded surrogate
    EXPECT_FALSE(stringFromData(QByteArray("\xC0\xAF"), UTF8Encoding));     // an overlong form
    EXPECT_FALSE(stringFromData(QByteArray("a\x80"), ASCIIEncoding));
    EXPECT_FALSE(stringFromData(QByteArray("\xA1"), cf(0x206))); // not a character of ISO-8859-6
    EXPECT_FALSE(stringFromData(QByteArray("abc"), UTF16Encoding));
    EXPECT_FALSE(stringFromData(QByteArray("abc"), 0));

    // Every byte is a character of the fallback, and back again.
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all += char(i);
    std::optional<QString> macRoman = stringFromData(all, MacRomanEncoding);
    ASSERT_TRUE(macRoman);
    EXPECT_EQ(macRoman->size(), 256);
    EXPECT_EQ(dataUsingEncodingStrictly(*macRoman, MacRomanEncoding), all);
}

TEST(FileEncodings, LossySaveReplacesAndWarns)
{
    struct Saved
    {
        QByteArray bytes;
        MVStringEncoding used;
        MVError warning;
    };
    const auto save = [](const QString &text, MVStringEncoding encoding) {
        Saved saved{{}, encoding, {}};
        const std::optional<QByteArray> bytes = dataUsingEncoding(text, &saved.used, &saved.warning);
        EXPECT_TRUE(bytes) << text.toStdString();
        saved.bytes = bytes.value_or("<none>");
        return saved;
    };
    const Saved latin = save(QStringLiteral("5 € für 😀!"), ISOLatin1Encoding);
    EXPECT_EQ(latin.bytes, QByteArray("5 ? f\xFCr ?!"));
    EXPECT_EQ(latin.used, ISOLatin1Encoding);
    EXPECT_EQ(latin.warning.code(), 16);
    EXPECT_EQ(latin.warning.domain(), MVError::MorvelDomain);
    EXPECT_TRUE(latin.warning.localizedDescription().contains("iso-8859-1"));
    EXPECT_FALSE(latin.warning.localizedRecoverySuggestion().isEmpty());

    // A stateful encoding keeps its shifts right around a replacement.
    const Saved shifted = save(QStringLiteral("日本€語"), cf(0x820));
    EXPECT_EQ(stringFromData(shifted.bytes, cf(0x820)), QStringLiteral("日本?語"));
    EXPECT_EQ(shifted.warning.code(), 16);
    // A lone surrogate cannot go to UTF-8 either.
    const Saved surrogate = save(QStringLiteral("a") + QChar(0xD83D) + "b", UTF8Encoding);
    EXPECT_EQ(surrogate.bytes, "a?b");
    EXPECT_EQ(surrogate.warning.code(), 16);
    // An encoding the system cannot convert: Windows-1252, and the warning says so.
    const Saved unknown = save(QStringLiteral("café"), 12345);
    EXPECT_EQ(unknown.bytes, QByteArray("caf\xE9"));
    EXPECT_EQ(unknown.used, WindowsLatin1Encoding);
    EXPECT_TRUE(unknown.warning.localizedDescription().contains("windows-1252"));
    // Nothing lost: no warning, and 0 means the default.
    const Saved whole = save(QStringLiteral("ü😀"), 0);
    EXPECT_EQ(whole.bytes, QStringLiteral("ü😀").toUtf8());
    EXPECT_EQ(whole.used, UTF8Encoding);
    EXPECT_TRUE(whole.warning.isNull());
    EXPECT_EQ(save(QString(), 0).bytes, QByteArray(""));
}

TEST(FileEncodings, ChoiceByNameDeclarationMarkAndDefault)
{
    MVScratchDir dir;
    auto decide = [&](const QString &name, const QByteArray &bytes) {
        const QString path = dir.write(name, bytes);
        MVStringEncoding encoding = 0;
        EXPECT_TRUE(createWithContentsOfFile(path, &encoding)) << name.toStdString();
        return encoding;
    };
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>\n<root>caf\xE9</root>\n";
    const QByteArray meta = "<html>\n<head>\n<meta http-equiv=\"Content-Type\" content=\"text/html; "
                            "charset=windows-1251\">\n</head>\n";

    EXPECT_EQ(decide("a.xml", xml), ISOLatin1Encoding);
    EXPECT_EQ(decide("b.html", meta), cf(0x502));
    // The file name comes first: its first piece that names an encoding.
    EXPECT_EQ(decide("page.utf-8.html", "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?>\n"), UTF8Encoding);
    EXPECT_EQ(decide("koi8-r.big5.txt", meta), cf(0xA02));
    // The short meta form has its quote before the value and is not seen.
    EXPECT_EQ(decide("c.html", "<meta charset=\"iso-8859-2\">\n<p>x</p>\n"), UTF8Encoding);
    // A name in capitals is unknown and the search goes on to later lines.
    EXPECT_EQ(decide("d.html", "<meta content=\"text/html; charset=UTF-8\">\n"
                               "<?xml version=\"1.0\" encoding=\"koi8-r\"?>\n"),
              cf(0xA02));
    EXPECT_EQ(decide("e.html", "<meta content=\"text/html; charset=UTF-8\">\n"), UTF8Encoding);
    // An unknown name: the default.
    EXPECT_EQ(decide("f.html", "<?xml version=\"1.0\" encoding=\"ebcdic-x\"?>\n"), UTF8Encoding);
    // Line 30 is seen, line 31 is not.
    EXPECT_EQ(decide("g.html", lines(29) + "<?xml encoding=\"euc-kr\"?>\n"), cf(0x940));
    EXPECT_EQ(decide("h.html", lines(30) + "<?xml encoding=\"euc-kr\"?>\n"), UTF8Encoding);
    // Lines may end in CR alone or CR LF.
    EXPECT_EQ(decide("i.html", lines(5, "<p>x</p>\r") + "<?xml encoding=\"euc-jp\"?>\r"), cf(0x920));
    EXPECT_EQ(decide("j.html", lines(5, "<p>x</p>\r\n") + "<?xml encoding=\"euc-jp\"?>\r\n"), cf(0x920));
    // A last line with no line break is never looked at.
    EXPECT_EQ(decide("k.html", "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><r/>"), UTF8Encoding);
    // UTF-16 marks in either order; a UTF-8 mark does not decide.
    EXPECT_EQ(decide("l.txt", QByteArray("\xFF\xFEh\0i\0", 6)), UTF16Encoding);
    EXPECT_EQ(decide("m.txt", QByteArray("\xFE\xFF\0h\0i", 6)), UTF16Encoding);
    EXPECT_EQ(decide("n.txt", "\xEF\xBB\xBFhello\n"), UTF8Encoding);

    // The default comes from the preference.
    {
        DefaultEncodingScope scope(QStringLiteral("windows-1250"));
        EXPECT_EQ(defaultEncoding(), cf(0x501));
        EXPECT_EQ(decide("o.txt", "plain\n"), cf(0x501));
    }
    {
        DefaultEncodingScope scope(QStringLiteral("no-such-encoding"));
        EXPECT_EQ(defaultEncoding(), UTF8Encoding);
    }

    // A stored encoding wins over everything, and the choice is reported.
    const QString path = dir.write("stored.utf-8.xml", xml);
    MVStringEncoding stored = cf(0x20F);
    MVError error;
    std::optional<QString> text = createWithContentsOfFile(path, &stored, &error);
    ASSERT_TRUE(text);
    EXPECT_EQ(stored, cf(0x20F));
    EXPECT_TRUE(text->contains(QStringLiteral("café")));
    EXPECT_TRUE(error.isNull());
}

TEST(FileEncodings, BytesInvalidForTheEncodingOpenAsWindows1252AndSaveUnchanged)
{
    MVScratchDir dir;
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte.append(char(i));
    const struct
    {
        QByteArray bytes;
        const char *notValidIn;
    } broken[] = {
        {QByteArray("<p>Caf\xE9, Voil\xE0, cr\xE8me</p>\n"), "UTF-8"},                  // Latin-1 taken for UTF-8
        {QByteArray("<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n\xC3\xA9\n"), "US-ASCII"}, // UTF-8 declared ASCII
        {QByteArray("\xFF\xFEh\0i\0!", 7), "UTF-16"},                                   // UTF-16 with an odd byte count
        {everyByte, "UTF-8"},                                                            // every byte, the five unassigned ones too
    };
    for (const auto &test : broken) {
        const QString path = dir.write(QStringLiteral("broken.txt"), test.bytes);
        MVStringEncoding encoding = 0;
        MVError error;
        ByteOrderMark mark = ByteOrderMark::UTF8;
        std::optional<QString> text = createWithContentsOfFile(path, &encoding, &error, &mark);
        ASSERT_TRUE(text);
        EXPECT_EQ(encoding, WindowsLatin1Encoding);
        EXPECT_EQ(mark, ByteOrderMark::None);
        EXPECT_EQ(error.code(), 16);
        EXPECT_EQ(error.domain(), MVError::MorvelDomain);
        EXPECT_EQ(error.localizedDescription(),
                  QStringLiteral("Not valid %1: opened as Western (Windows-1252)").arg(test.notValidIn));
        EXPECT_EQ(text->size(), test.bytes.size());

        MVError saveError;
        EXPECT_EQ(dataUsingEncoding(*text, &encoding, &saveError, mark), test.bytes);
        EXPECT_TRUE(saveError.isNull());
    }
    // Latin-1 reads as it was written; the unassigned bytes are C1 controls.
    const QString all = *stringFromData(everyByte, WindowsLatin1Encoding);
    EXPECT_EQ(all.mid(0xE9, 1), QStringLiteral("é"));
    EXPECT_EQ(all.mid(0x80, 1), QStringLiteral("€"));
    for (int unassigned : {0x81, 0x8D, 0x8F, 0x90, 0x9D})
        EXPECT_EQ(all.at(unassigned).unicode(), unassigned);
    EXPECT_FALSE(dataUsingEncodingStrictly(QStringLiteral("\u0100"), WindowsLatin1Encoding));

    // The same through data in hand: the declaration in the data decides.
    MVStringEncoding encoding = 0;
    MVError error;
    std::optional<QString> text =
        createWithData(QByteArray("<?xml version=\"1.0\" encoding=\"utf-16\"?>\nab\n"), QString(), &encoding, &error);
    ASSERT_TRUE(text);
    EXPECT_EQ(encoding, WindowsLatin1Encoding);
    EXPECT_EQ(error.code(), 16);
}

TEST(FileEncodings, FilesThatAreEmptyTinyOrUnreadable)
{
    MVScratchDir dir;
    MVStringEncoding encoding = 0;
    MVError error;
    std::optional<QString> empty = createWithContentsOfFile(dir.write("empty.html", ""), &encoding, &error);
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->isEmpty());
    EXPECT_EQ(encoding, UTF8Encoding);
    EXPECT_TRUE(error.isNull());

    encoding = 0;
    std::optional<QString> one = createWithContentsOfFile(dir.write("one.txt", "x"), &encoding, &error);
    EXPECT_EQ(one, QStringLiteral("x"));
    encoding = 0;
    std::optional<QString> oneHigh = createWithContentsOfFile(dir.write("high.txt", "\xE9"), &encoding, &error);
    ASSERT_TRUE(oneHigh);
    EXPECT_EQ(oneHigh->size(), 1);
    EXPECT_EQ(encoding, WindowsLatin1Encoding);
    encoding = UTF16Encoding;
    std::optional<QString> oneUtf16 = createWithContentsOfFile(dir.file("one.txt"), &encoding, &error);
    EXPECT_EQ(oneUtf16, QStringLiteral("x"));
    EXPECT_EQ(encoding, WindowsLatin1Encoding);

    auto unreadable = [&](const QString &path, int code) {
        MVStringEncoding guess = 0;
        MVError failure;
        EXPECT_FALSE(createWithContentsOfFile(path, &guess, &failure)) << path.toStdString();
        EXPECT_EQ(failure.domain(), PlatformErrorDomain);
        EXPECT_EQ(failure.code(), code);
        EXPECT_FALSE(failure.localizedDescription().isEmpty());
        EXPECT_FALSE(createWithContentsOfFile(path, &guess));
    };
    unreadable(dir.file("missing.html"), FileReadNoSuchFileError);
    unreadable(dir.path(), FileReadUnknownError);
    const QString fifo = dir.file("pipe");
    ASSERT_EQ(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    unreadable(fifo, FileReadUnknownError);
    // Permission bits do not stop root, so this case holds for other users only.
    if (geteuid() != 0) {
        const QString locked = dir.write("locked.html", "<p>secret</p>\n");
        ASSERT_EQ(chmod(QFile::encodeName(locked).constData(), 0), 0);
        unreadable(locked, FileReadNoPermissionError);
    }
}

TEST(FileEncodings, ByteOrderMarksAreKeptForTheSave)
{
    const QString text = QStringLiteral("<p>ü 😀</p>\n");

    const QByteArray utf8 = "\xEF\xBB\xBF" + text.toUtf8();
    MVStringEncoding encoding = 0;
    ByteOrderMark mark = ByteOrderMark::None;
    EXPECT_EQ(createWithData(utf8, QStringLiteral("a.html"), &encoding, nullptr, &mark), text);
    EXPECT_EQ(mark, ByteOrderMark::UTF8);
    EXPECT_EQ(dataUsingEncoding(text, &encoding, nullptr, mark), utf8);
    EXPECT_EQ(dataUsingEncoding(text, &encoding, nullptr), text.toUtf8());

    for (bool little : {true, false}) {
        QByteArray units(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
        if (!little) {
            for (qsizetype i = 0; i < units.size(); i += 2)
                std::swap(units[i], units[i + 1]);
        }
        const QByteArray withMark = (little ? QByteArray("\xFF\xFE") : QByteArray("\xFE\xFF")) + units;
        encoding = 0;
        mark = ByteOrderMark::None;
        EXPECT_EQ(createWithData(withMark, QStringLiteral("a.html"), &encoding, nullptr, &mark), text);
        EXPECT_EQ(encoding, UTF16Encoding);
        EXPECT_EQ(mark, little ? ByteOrderMark::UTF16LittleEndian : ByteOrderMark::UTF16BigEndian);
        EXPECT_EQ(dataUsingEncoding(text, &encoding, nullptr, mark), withMark);

        // Without a mark, when UTF-16 is known: the byte order is recognised.
        encoding = UTF16Encoding;
        EXPECT_EQ(createWithData(units, QStringLiteral("a.html"), &encoding, nullptr, &mark), text);
        EXPECT_EQ(mark, little ? ByteOrderMark::UTF16LittleEndian : ByteOrderMark::UTF16BigEndian);
    }
    // A new UTF-16 file gets a mark so that it is recognised when opened.
    encoding = UTF16Encoding;
    const std::optional<QByteArray> fresh = dataUsingEncoding(QStringLiteral("hi"), &encoding, nullptr);
    ASSERT_TRUE(fresh);
    EXPECT_EQ(_encodingFromFileContents(*fresh), UTF16Encoding);
}
