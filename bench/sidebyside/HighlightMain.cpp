// morvel-highlight: colours a file with the editor's engine, as a view does
// when it opens the file, and writes it as HTML (one span per stretch of the
// same colour and traits), so that the whole process can be timed beside
// other command-line highlighters on the same input.
//
//   morvel_highlight [--language ID] [-o OUTPUT] [--timings] FILE
//
// The language comes from the extension unless --language names its parser
// identifier ("text.js"). --timings writes the time of each step to stderr.
#include "BenchSupport.h"

#include "language/MVParser.h"
#include "text/MVTextStorage.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cstdio>
#include <cstring>

namespace {

// Appends UTF-16 text as UTF-8 with the three characters HTML needs escaped.
// Writes into room made beforehand (at most 5 bytes a unit: "&amp;").
void appendEscaped(QByteArray &out, QStringView text)
{
    const qsizetype size = text.size();
    const char16_t *units = text.utf16();
    const qsizetype old = out.size();
    out.resize(old + size * 5);
    char *d = out.data() + old;
    for (qsizetype i = 0; i < size; ++i) {
        const char16_t c = units[i];
        if (c < 0x80) {
            switch (c) {
            case u'<': std::memcpy(d, "&lt;", 4); d += 4; break;
            case u'>': std::memcpy(d, "&gt;", 4); d += 4; break;
            case u'&': std::memcpy(d, "&amp;", 5); d += 5; break;
            default: *d++ = char(c); break;
            }
        } else if (c < 0x800) {
            *d++ = char(0xC0 | (c >> 6));
            *d++ = char(0x80 | (c & 0x3F));
        } else if (QChar::isHighSurrogate(c) && i + 1 < size && QChar::isLowSurrogate(units[i + 1])) {
            const char32_t u = QChar::surrogateToUcs4(c, units[++i]);
            *d++ = char(0xF0 | (u >> 18));
            *d++ = char(0x80 | ((u >> 12) & 0x3F));
            *d++ = char(0x80 | ((u >> 6) & 0x3F));
            *d++ = char(0x80 | (u & 0x3F));
        } else {
            // A lone surrogate is written as the replacement character.
            const char32_t u = QChar::isSurrogate(c) ? 0xFFFD : c;
            *d++ = char(0xE0 | (u >> 12));
            *d++ = char(0x80 | ((u >> 6) & 0x3F));
            *d++ = char(0x80 | (u & 0x3F));
        }
    }
    out.resize(d - out.constData());
}

QByteArray styleOf(const MVTextAttributes &attributes, const MVTextAttributes &standard)
{
    QByteArray style;
    if (attributes.has(MVAttribute::ForegroundColor) && attributes.foreground() != standard.foreground())
        style += "color:" + QColor::fromRgba(attributes.foreground()).name().toLatin1() + ';';
    if (attributes.has(MVAttribute::BackgroundColor))
        style += "background-color:" + QColor::fromRgba(attributes.background()).name().toLatin1() + ';';
    const quint8 traits = attributes.traits();
    if (traits & MVFontTrait::Bold)
        style += "font-weight:bold;";
    if (traits & MVFontTrait::Italic)
        style += "font-style:italic;";
    if (traits & MVFontTrait::Underline)
        style += "text-decoration:underline;";
    return style;
}

class HtmlWriter
{
public:
    explicit HtmlWriter(FILE *file) : _file(file) { _out.reserve(Chunk + 4096); }

    void write(const MVTextStorage &storage, const QString &title)
    {
        const MVTextAttributes standard = BenchSupport::standardAttributes();
        _out += "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>";
        appendEscaped(_out, title);
        _out += "</title></head><body style=\"color:" + QColor::fromRgba(standard.foreground()).name().toLatin1() + "\"><pre>";
        QByteArray open;
        // A text has a few dozen distinct attribute sets and a million runs.
        QHash<MVTextAttributes, QByteArray> styles;
        storage.forEachRun(MVRange{0, storage.length()}, [&](MVRange range, const MVTextAttributes &attributes) {
            auto known = styles.constFind(attributes);
            if (known == styles.constEnd())
                known = styles.insert(attributes, styleOf(attributes, standard));
            const QByteArray &style = *known;
            if (style != open) {
                if (!open.isEmpty())
                    _out += "</span>";
                if (!style.isEmpty())
                    _out += "<span style=\"" + style + "\">";
                open = style;
            }
            storage.buffer().forEachPiece(range, [&](QStringView piece) {
                appendEscaped(_out, piece);
                if (_out.size() >= Chunk)
                    flush();
                return true;
            });
            return true;
        });
        if (!open.isEmpty())
            _out += "</span>";
        _out += "</pre></body></html>\n";
        flush();
    }

    bool failed() const { return _failed; }

private:
    static constexpr qsizetype Chunk = 1 << 20;

    void flush()
    {
        if (!_out.isEmpty() && std::fwrite(_out.constData(), 1, size_t(_out.size()), _file) != size_t(_out.size()))
            _failed = true;
        _out.clear();
    }

    FILE *_file;
    QByteArray _out;
    bool _failed = false;
};

} // namespace

int main(int argc, char **argv)
{
    BenchSupport::useTemporaryUserFolders();
    BenchSupport::Arguments arguments;
    if (!BenchSupport::parseArguments(argc, argv,
                                      BenchSupport::LanguageOption | BenchSupport::OutputOption | BenchSupport::TimingsOption,
                                      "morvel-highlight [--language ID] [-o OUTPUT] [--timings] FILE", &arguments))
        return 2;
    const QString &input = arguments.input;
    const QByteArray output = QFile::encodeName(arguments.output);

    const double start = BenchSupport::wallMs();
    QString message;
    const std::shared_ptr<MVParser> parser = BenchSupport::parserFor(input, arguments.language, &message);
    if (!parser) {
        std::fprintf(stderr, "morvel-highlight: %s\n", qPrintable(message));
        return 1;
    }
    const double loaded = BenchSupport::wallMs();
    MVTextStorage storage;
    BenchSupport::OpenTimes times;
    if (!BenchSupport::openFile(input, storage, parser.get(), &times, &message)) {
        std::fprintf(stderr, "morvel-highlight: %s: %s\n", qPrintable(input), qPrintable(message));
        return 1;
    }

    FILE *file = output.isEmpty() ? stdout : std::fopen(output.constData(), "wb");
    if (!file) {
        std::fprintf(stderr, "morvel-highlight: cannot write %s: %s\n", output.constData(), std::strerror(errno));
        return 1;
    }
    const double written = BenchSupport::wallMs();
    HtmlWriter writer(file);
    writer.write(storage, QFileInfo(input).fileName());
    const bool failed = writer.failed() || std::fflush(file) != 0 || (!output.isEmpty() && std::fclose(file) != 0);
    if (failed) {
        std::fprintf(stderr, "morvel-highlight: writing failed: %s\n", std::strerror(errno));
        return 1;
    }
    if (arguments.timings) {
        std::fprintf(stderr,
                     "language %s: load %.1f ms; read %.1f, decode %.1f, line breaks %.1f, storage %.1f, colour %.1f, "
                     "HTML %.1f ms; %lld runs\n",
                     qPrintable(parser->identifier()), loaded - start, times.readMs, times.decodeMs, times.lineBreaksMs,
                     times.storageMs, times.colourMs, BenchSupport::wallMs() - written, (long long)storage.runCount());
    }
    return 0;
}
