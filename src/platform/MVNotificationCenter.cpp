#include "platform/MVNotificationCenter.h"

#include <algorithm>

MVNotificationCenter &MVNotificationCenter::defaultCenter()
{
    // Never destroyed: observers held by other process-wide objects (languages,
    // themes) unregister during exit, in an order static destruction cannot promise.
    static MVNotificationCenter *center = new MVNotificationCenter;
    return *center;
}

MVNotificationCenter::Token MVNotificationCenter::addObserver(const QString &name, const void *object, Handler handler)
{
    std::lock_guard lock(_mutex);
    const Token token = _nextToken++;
    _entries.push_back(Entry{token, name, object, std::make_shared<Handler>(std::move(handler))});
    return token;
}

void MVNotificationCenter::removeObserver(Token token)
{
    std::lock_guard lock(_mutex);
    std::erase_if(_entries, [token](const Entry &e) { return e.token == token; });
}

void MVNotificationCenter::post(const QString &name, const void *object, const QVariantMap &userInfo)
{
    // Deliver to a snapshot so handlers may add or remove observers; a handler
    // removed by an earlier one in the same post is skipped.
    std::vector<std::pair<Token, std::shared_ptr<Handler>>> targets;
    {
        std::lock_guard lock(_mutex);
        for (const Entry &e : _entries) {
            if ((e.name.isEmpty() || e.name == name) && (!e.object || e.object == object))
                targets.emplace_back(e.token, e.handler);
        }
    }
    const MVNotification note{name, object, userInfo};
    for (const auto &[token, handler] : targets) {
        bool stillRegistered;
        {
            std::lock_guard lock(_mutex);
            stillRegistered = std::any_of(_entries.begin(), _entries.end(),
                                          [t = token](const Entry &e) { return e.token == t; });
        }
        if (stillRegistered)
            (*handler)(note);
    }
}

MVObservation::MVObservation(const QString &name, const void *object, MVNotificationCenter::Handler handler,
                             MVNotificationCenter &center)
    : _center(&center)
    , _token(center.addObserver(name, object, std::move(handler)))
{
}

MVObservation::~MVObservation()
{
    if (_center)
        _center->removeObserver(_token);
}

MVObservation::MVObservation(MVObservation &&other) noexcept
    : _center(std::exchange(other._center, nullptr))
    , _token(other._token)
{
}

MVObservation &MVObservation::operator=(MVObservation &&other) noexcept
{
    if (this != &other) {
        if (_center)
            _center->removeObserver(_token);
        _center = std::exchange(other._center, nullptr);
        _token = other._token;
    }
    return *this;
}
