#include "platform/MVUserNotices.h"

#include "platform/MVMainThread.h"

#include <QSet>

#include <mutex>
#include <utility>
#include <vector>

namespace {

struct Notices
{
    std::mutex mutex;
    MVUserNotices::Presenter presenter;
    std::vector<std::pair<QString, QString>> pending;
    QSet<QString> told;
};

Notices &notices()
{
    static Notices *shared = new Notices; // used until the very end of the process
    return *shared;
}

void present(const MVUserNotices::Presenter &presenter, const QString &message, const QString &informativeText)
{
    MVMainThread::async([presenter, message, informativeText] { presenter(message, informativeText); });
}

} // namespace

void MVUserNotices::post(const QString &message, const QString &informativeText)
{
    Notices &all = notices();
    std::lock_guard lock(all.mutex);
    const QString key = message + QLatin1Char('\n') + informativeText;
    if (all.told.contains(key))
        return;
    all.told.insert(key);
    if (all.presenter)
        present(all.presenter, message, informativeText);
    else
        all.pending.emplace_back(message, informativeText);
}

void MVUserNotices::setPresenter(Presenter presenter)
{
    Notices &all = notices();
    std::lock_guard lock(all.mutex);
    all.presenter = std::move(presenter);
    if (!all.presenter)
        return;
    for (const auto &[message, informativeText] : all.pending)
        present(all.presenter, message, informativeText);
    all.pending.clear();
}

QStringList MVUserNotices::takePending()
{
    Notices &all = notices();
    std::lock_guard lock(all.mutex);
    QStringList result;
    for (const auto &[message, informativeText] : all.pending)
        result << message + QStringLiteral(" | ") + informativeText;
    all.pending.clear();
    return result;
}
