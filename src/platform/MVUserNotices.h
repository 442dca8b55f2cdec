#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// Problems the user must hear of that belong to no window: a broken copy of
// a language that was passed over, a preferences file set aside. Any thread
// may post one; each distinct notice is told once per run. Notices posted
// before the shell can show them wait until a presenter is set.
namespace MVUserNotices {
using Presenter = std::function<void(const QString &message, const QString &informativeText)>;

void post(const QString &message, const QString &informativeText);
// Shows the waiting notices and every later one through the presenter, on
// the main thread. An empty presenter makes notices wait again.
void setPresenter(Presenter presenter);
// The notices waiting for a presenter, as "message | informative text";
// they are taken, and will not be shown.
QStringList takePending();
}
