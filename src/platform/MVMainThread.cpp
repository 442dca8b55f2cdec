#include "platform/MVMainThread.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

namespace {
QObject *mainContext()
{
    return QCoreApplication::instance();
}
}

bool MVMainThread::isCurrent()
{
    QObject *app = mainContext();
    return app && QThread::currentThread() == app->thread();
}

void MVMainThread::async(std::function<void()> fn)
{
    if (QObject *app = mainContext())
        QMetaObject::invokeMethod(app, std::move(fn), Qt::QueuedConnection);
}

void MVMainThread::sync(const std::function<void()> &fn)
{
    QObject *app = mainContext();
    if (!app || QThread::currentThread() == app->thread()) {
        fn();
        return;
    }
    QMetaObject::invokeMethod(app, fn, Qt::BlockingQueuedConnection);
}

void MVMainThread::processPending()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents(QEventLoop::AllEvents);
}
