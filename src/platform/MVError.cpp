#include "platform/MVError.h"

MVError::MVError(QString domain, int code, QString description, QString suggestion)
    : _domain(std::move(domain))
    , _code(code)
    , _description(std::move(description))
    , _suggestion(std::move(suggestion))
{
}

MVError MVError::morvel(int code, const QString &description, const QString &suggestion)
{
    return MVError(MorvelDomain, code, description, suggestion);
}

MVError &MVError::setRecoveryOptions(QStringList options, RecoveryHandler handler)
{
    _recoveryOptions = std::move(options);
    _handler = handler ? std::make_shared<RecoveryHandler>(std::move(handler)) : nullptr;
    return *this;
}

MVError &MVError::setUserInfo(const QString &key, const QVariant &value)
{
    _userInfo.insert(key, value);
    return *this;
}

void MVError::attemptRecovery(int chosenOption) const
{
    if (_handler)
        (*_handler)(chosenOption);
}

QString MVError::logLine() const
{
    return QStringLiteral("%1 %2: %3").arg(_domain).arg(_code).arg(_description);
}
