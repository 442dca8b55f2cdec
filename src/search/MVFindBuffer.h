#pragma once

#include <QString>

#include <mutex>

// The find buffer: the text last given to "Use Selection for Find", shared by
// every find field of the process. It stands apart from the clipboard, so
// that finding never overwrites what the user copied.
class MVFindBuffer
{
public:
    static MVFindBuffer &sharedBuffer();

    QString string() const;
    void setString(const QString &string);

private:
    mutable std::mutex _mutex;
    QString _string;
};
