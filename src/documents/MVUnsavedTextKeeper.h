#pragma once

#include "platform/MVError.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

class MVDocument;

// When the session ends the editor without a chance to ask (a termination
// signal at logout), the text of every edited document is written to a
// private folder of its own, so that nothing typed is lost. The user's own
// files are never touched: whether to save over them was never answered.
class MVUnsavedTextKeeper
{
public:
    // "Recovered" in the configuration folder, made private (0700).
    static QString folder();
    // Writes each edited text as UTF-8 (whatever the file's encoding, so no
    // character is lost) and gives the paths written. Tabs of tabbed windows
    // and projects count one by one.
    static QStringList keep(const std::vector<std::shared_ptr<MVDocument>> &documents,
                            const QString &folder = MVUnsavedTextKeeper::folder());
    // The question for the next launch when kept text is waiting (null when
    // none is). Its first option moves each kept file into "Opened" beside
    // it and hands it to openFile; the second leaves them for the next time.
    static MVError questionForKeptText(const std::function<void(const QString &)> &openFile,
                                       const QString &folder = MVUnsavedTextKeeper::folder());
};
