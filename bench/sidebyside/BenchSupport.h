#pragma once

#include "text/MVTextAttributes.h"

#include <QByteArray>
#include <QString>

#include <memory>
#include <vector>

class MVParser;
class MVTextStorage;

// What the side-by-side drivers share: the shipped languages and theme with
// the user's folders kept out, a file opened the way an editing view opens
// it, the full colouring, and the clocks and memory figures they report.
namespace BenchSupport {

// The command line of a driver: one FILE and the options it accepts.
struct Arguments
{
    QString input;
    QString language;     // --language ID
    QString output;       // -o FILE
    bool timings = false; // --timings
    int samples = 0;      // --samples N
};
enum Option { LanguageOption = 1, OutputOption = 2, TimingsOption = 4, SamplesOption = 8 };

// Reads the options allowed (a set of Option bits) and the file. Anything
// else, or no file, prints the usage line and gives false.
bool parseArguments(int argc, char **argv, int allowed, const char *usage, Arguments *arguments);

// Points the user's data and preferences at a private temporary folder, so
// that nothing the user added changes the figures. Call first in main().
void useTemporaryUserFolders();

// The parser for a file: by the language's parser identifier when one is
// given ("text.js"), else by the file's extension as a view chooses it. The
// parser has the current theme. Null, with a message, when none is found.
std::shared_ptr<MVParser> parserFor(const QString &path, const QString &identifier, QString *message);

// The attributes every range gets before its parser colours it.
MVTextAttributes standardAttributes();

// The steps of opening a file, in the editor's order, and the wall time of each.
struct OpenTimes
{
    double readMs = 0;
    double decodeMs = 0;
    double lineBreaksMs = 0;
    double storageMs = 0;
    double colourMs = 0;
};

// Reads, decodes (encoding chosen as for a new document), brings line breaks
// to LF, fills the storage and colours all of it with the parser (when not
// null). The bytes are kept until the end, as the document keeps them until
// its view is filled. False, with a message, when the file cannot be read.
bool openFile(const QString &path, MVTextStorage &storage, const MVParser *parser, OpenTimes *times, QString *message);

// Colours the whole storage as a view does when its text is set.
void colourAll(MVTextStorage &storage, const MVParser *parser);

// Milliseconds on a monotonic clock, and CPU milliseconds of this thread.
double wallMs();
double threadCpuMs();

// Resident memory of this process now and at its peak, in kilobytes.
qint64 residentKilobytes();
qint64 peakResidentKilobytes();

// The q-quantile (0 ... 1) of the samples, nearest rank; sorts them.
double quantile(std::vector<double> &samples, double q);

} // namespace BenchSupport
