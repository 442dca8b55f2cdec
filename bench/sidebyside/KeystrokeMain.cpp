// The cost of re-colouring after each keystroke, as a highlighting view pays
// it: the file is opened and coloured, the caret is put at the start, the
// middle and the end of it, the parser active there is found once (as a view
// does when the caret jumps), and then each edit is made in the storage and
// the range the incremental rule gives is coloured again with that parser.
// Only the re-colouring (range and parse) is timed.
//
//   bench_keystrokes [--language ID] [--samples N] FILE
//
// Prints one JSON object a line: position, operation, samples, median, p99
// and maximum in microseconds; and for each position the active parser and
// whether the comment opener typed there was coloured. Operations: "type" (a word typed a character
// at a time), "delete" (deleting it again a character at a time), "newline",
// and "comment" (the comment opener of the active language typed at once).
#include "BenchSupport.h"

#include "language/MVParser.h"
#include "language/MVSyntaxColouring.h"
#include "language/MVThemeRepository.h"
#include "text/MVTextStorage.h"

#include <cstdio>
#include <cstring>
#include <functional>

namespace {

struct Position
{
    const char *name;
    qsizetype location;
};

// The first non-blank character of a line, or a share of a single long line.
qsizetype caretAt(const MVTextBuffer &buffer, double share)
{
    const qsizetype lines = buffer.lineCount();
    if (lines < 100)
        return qsizetype(double(buffer.length()) * share);
    const qsizetype line = qBound<qsizetype>(1, qsizetype(double(lines) * share), lines - 2);
    qsizetype location = buffer.lineStart(line);
    const qsizetype end = buffer.lineContentsEnd(line);
    while (location < end && buffer.characterAt(location).isSpace())
        ++location;
    return location;
}

QString commentOpener(const MVParser *parser)
{
    const QString id = parser->identifier();
    if (id == QLatin1String("text.html") || id == QLatin1String("text.xml") || id == QLatin1String("text.md"))
        return QStringLiteral("<!--");
    if (id == QLatin1String("text.py") || id == QLatin1String("text.perl") || id == QLatin1String("text.ruby")
        || id == QLatin1String("text.shell"))
        return QStringLiteral("#");
    return QStringLiteral("/*");
}

class Typist
{
public:
    Typist(MVTextStorage &storage, const MVParser *parser)
        : _storage(storage), _parser(parser), _standard(BenchSupport::standardAttributes())
    {
    }

    // Replaces range with text and colours the changed lines again; gives
    // the microseconds the colouring took.
    double edit(MVRange range, const QString &text)
    {
        _storage.replaceCharacters(range, text);
        const double start = BenchSupport::wallMs();
        MVSyntaxColouring::syntaxHighlight(
            MVSyntaxColouring::rangeToHighlightForRange(_storage, MVRange{range.location, text.size()}), _storage,
            _standard, _parser);
        return (BenchSupport::wallMs() - start) * 1000;
    }

private:
    MVTextStorage &_storage;
    const MVParser *_parser;
    MVTextAttributes _standard;
};

void report(const char *position, const char *operation, std::vector<double> &samples)
{
    const double median = BenchSupport::quantile(samples, 0.5);
    const double p99 = BenchSupport::quantile(samples, 0.99);
    const double maximum = BenchSupport::quantile(samples, 1.0);
    std::printf("{\"position\": \"%s\", \"operation\": \"%s\", \"samples\": %zu, \"median_us\": %.2f, \"p99_us\": %.2f, "
                "\"max_us\": %.2f}\n",
                position, operation, samples.size(), median, p99, maximum);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    BenchSupport::useTemporaryUserFolders();
    BenchSupport::Arguments arguments;
    arguments.samples = 400;
    if (!BenchSupport::parseArguments(argc, argv, BenchSupport::LanguageOption | BenchSupport::SamplesOption,
                                      "bench_keystrokes [--language ID] [--samples N] FILE", &arguments))
        return 2;
    const QString &input = arguments.input;
    const int samples = arguments.samples;

    QString message;
    const std::shared_ptr<MVParser> parser = BenchSupport::parserFor(input, arguments.language, &message);
    MVTextStorage storage;
    BenchSupport::OpenTimes times;
    if (!parser || !BenchSupport::openFile(input, storage, parser.get(), &times, &message)) {
        std::fprintf(stderr, "bench_keystrokes: %s\n", qPrintable(message));
        return 1;
    }

    const Position positions[] = {
        {"start", caretAt(storage.buffer(), 0.0001)},
        {"middle", caretAt(storage.buffer(), 0.5)},
        {"end", caretAt(storage.buffer(), 0.9999)},
    };
    const QString word = QStringLiteral("counter");
    for (const Position &position : positions) {
        MVParser *active = MVSyntaxColouring::checkForOpenSpecialsBefore(
            parser.get(), storage, position.location, MVThemeRepository::sharedRepository().currentTheme());
        Typist typist(storage, active);
        const qsizetype at = position.location;
        std::vector<double> typing, deleting, newlines, comments;
        // A word typed and deleted again, character by character, until
        // there are enough samples of each.
        while (qsizetype(typing.size()) < samples) {
            for (qsizetype i = 0; i < word.size(); ++i)
                typing.push_back(typist.edit(MVRange{at + i, 0}, word.mid(i, 1)));
            for (qsizetype i = word.size(); i > 0; --i)
                deleting.push_back(typist.edit(MVRange{at + i - 1, 1}, QString()));
        }
        // A line break or a comment opener typed and taken away again: only
        // the typing is timed, the removal restores the text and colours.
        const QString opener = commentOpener(active);
        // Times mean nothing if the colouring did not happen: the opener just
        // typed must have left the text's plain colour.
        bool openerColoured = false;
        for (int i = 0; i < samples; ++i) {
            newlines.push_back(typist.edit(MVRange{at, 0}, QStringLiteral("\n")));
            typist.edit(MVRange{at, 1}, QString());
            comments.push_back(typist.edit(MVRange{at, 0}, opener));
            if (i == 0)
                openerColoured = storage.attributesAtIndex(at).foreground() != BenchSupport::standardAttributes().foreground();
            typist.edit(MVRange{at, opener.size()}, QString());
        }
        std::printf("{\"position\": \"%s\", \"parser\": \"%s\", \"opener\": \"%s\", \"opener_coloured\": %s}\n",
                    position.name, qPrintable(active->identifier()), qPrintable(opener), openerColoured ? "true" : "false");
        report(position.name, "type", typing);
        report(position.name, "delete", deleting);
        report(position.name, "newline", newlines);
        report(position.name, "comment", comments);
    }
    return 0;
}
