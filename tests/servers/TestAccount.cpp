#include "servers/TestAccount.h"

#include <QFile>

#include <pwd.h>

bool TestAccount::load(QString *error)
{
    const passwd *entry = ::getpwnam(userName);
    if (!entry) {
        *error = QStringLiteral("the test account %1 does not exist; run scripts/install-deps")
                     .arg(QLatin1String(userName));
        return false;
    }
    QFile file{QString::fromLatin1(passwordFile)};
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the test account's password from %1 (%2); "
                                "run scripts/install-deps and the tests as root")
                     .arg(QLatin1String(passwordFile), file.errorString());
        return false;
    }
    _password = QString::fromUtf8(file.readAll()).trimmed();
    if (_password.isEmpty()) {
        *error = QStringLiteral("%1 is empty; run scripts/install-deps").arg(QLatin1String(passwordFile));
        return false;
    }
    _user = QString::fromLocal8Bit(entry->pw_name);
    _home = QString::fromLocal8Bit(entry->pw_dir);
    _uid = entry->pw_uid;
    _gid = entry->pw_gid;
    return true;
}
