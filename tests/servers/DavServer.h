#pragma once

#include "servers/TestServer.h"

// Apache httpd (the apache2 program run in the foreground with a
// configuration of its own) serving two locations behind basic
// authentication of the test account:
//   /dav/    WebDAV (mod_dav_fs) on rootDirectory()
//   /plain/  the same server without WebDAV, on plainDirectory()
// Its workers run as the test account. mod_dir is not loaded: with it a
// PROPFIND on a folder holding index.html is answered 405.
class DavServer : public TestServer
{
public:
    DavServer();
    ~DavServer() override;

    static constexpr const char *davPath = "/dav/";
    static constexpr const char *plainPath = "/plain/";

    // "http://127.0.0.1:PORT/dav/" and "…/plain/".
    QString davUrl() const;
    QString plainUrl() const;
    const QString &plainDirectory() const { return _plainDirectory; }

protected:
    QString configure(quint16 port) override;
    QStringList arguments() const override;
    QStringList logFiles() const override;

private:
    QString makeDirectories();

    QString _plainDirectory;
    QString _lockDirectory;
};
