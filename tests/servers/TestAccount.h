#pragma once

#include <QString>

#include <sys/types.h>

// The system account that the test servers log in: made by
// scripts/install-deps with a nologin shell and a random password that only
// root can read.
class TestAccount
{
public:
    static constexpr const char *userName = "morvel-test";
    static constexpr const char *passwordFile = "/etc/morvel-test/password";

    // Reads the account; on failure returns false and says why in *error.
    bool load(QString *error);

    const QString &user() const { return _user; }
    const QString &password() const { return _password; }
    const QString &home() const { return _home; }
    uid_t uid() const { return _uid; }
    gid_t gid() const { return _gid; }

private:
    QString _user;
    QString _password;
    QString _home;
    uid_t _uid = 0;
    gid_t _gid = 0;
};
