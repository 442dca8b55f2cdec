#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <memory>

// An error that travels to presentErrorAlert: domain, code, the texts the
// user sees, and optionally recovery options with a callback that receives
// the index of the option the user chose.
class MVError
{
public:
    static inline const QString MorvelDomain = QStringLiteral("com.morvelworks.morvel.error");

    using RecoveryHandler = std::function<void(int chosenOption)>;

    MVError() = default;
    MVError(QString domain, int code, QString description, QString suggestion = {});

    // An error of the program's own domain.
    static MVError morvel(int code, const QString &description, const QString &suggestion = {});

    bool isNull() const { return _domain.isEmpty(); }
    const QString &domain() const { return _domain; }
    int code() const { return _code; }
    const QString &localizedDescription() const { return _description; }
    const QString &localizedRecoverySuggestion() const { return _suggestion; }
    const QStringList &localizedRecoveryOptions() const { return _recoveryOptions; }
    const QVariantMap &userInfo() const { return _userInfo; }

    MVError &setRecoveryOptions(QStringList options, RecoveryHandler handler);
    // The option that Escape (or closing the alert) chooses: the one that
    // loses nothing. -1: the option named "Cancel", if there is one.
    MVError &setEscapeOption(int option)
    {
        _escapeOption = option;
        return *this;
    }
    int escapeOption() const { return _escapeOption; }
    MVError &setUserInfo(const QString &key, const QVariant &value);

    // Calls the recovery handler, if any, with the chosen option.
    void attemptRecovery(int chosenOption) const;
    bool hasRecoveryHandler() const { return static_cast<bool>(_handler); }

    // One line for the system log: never contains user info.
    QString logLine() const;

private:
    QString _domain;
    int _code = 0;
    QString _description;
    QString _suggestion;
    QStringList _recoveryOptions;
    QVariantMap _userInfo;
    std::shared_ptr<RecoveryHandler> _handler;
    int _escapeOption = -1;
};

// Receives errors to show to the user. Windows implement it; tests record.
class MVErrorPresenter
{
public:
    virtual ~MVErrorPresenter() = default;
    virtual void presentErrorAlert(const MVError &error) = 0;
};
