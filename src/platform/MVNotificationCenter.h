#pragma once

#include <QString>
#include <QVariantMap>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

// A named notification with the object that posted it (an opaque pointer
// compared by identity) and an optional payload.
struct MVNotification
{
    QString name;
    const void *object = nullptr;
    QVariantMap userInfo;
};

// Named notifications delivered synchronously on the posting thread, to
// observers registered for a name and optionally for one object only.
class MVNotificationCenter
{
public:
    using Handler = std::function<void(const MVNotification &)>;
    using Token = std::uint64_t;

    static MVNotificationCenter &defaultCenter();

    // Observes name (every name when empty) from object (any object when null).
    Token addObserver(const QString &name, const void *object, Handler handler);
    void removeObserver(Token token);

    void post(const QString &name, const void *object = nullptr, const QVariantMap &userInfo = {});

private:
    struct Entry
    {
        Token token;
        QString name;
        const void *object;
        std::shared_ptr<Handler> handler;
    };
    std::mutex _mutex;
    std::vector<Entry> _entries;
    Token _nextToken = 1;
};

// Removes its observation when it goes out of scope: hold one per observation
// in an object so that a notification never reaches a destroyed observer.
class MVObservation
{
public:
    MVObservation() = default;
    MVObservation(const QString &name, const void *object, MVNotificationCenter::Handler handler,
                  MVNotificationCenter &center = MVNotificationCenter::defaultCenter());
    ~MVObservation();
    MVObservation(MVObservation &&other) noexcept;
    MVObservation &operator=(MVObservation &&other) noexcept;
    MVObservation(const MVObservation &) = delete;
    MVObservation &operator=(const MVObservation &) = delete;

private:
    MVNotificationCenter *_center = nullptr;
    MVNotificationCenter::Token _token = 0;
};
