#pragma once

#include <QCoreApplication>
#include <QString>

#include <cstddef>
#include <cstdint>

// What every fuzz target needs before its first input: one application
// object (the string and regex code asks for it) and quiet Qt messages, so
// that the fuzzer's output shows only its own findings.
namespace FuzzSupport {

inline void startOnce()
{
    static bool started = false;
    if (started)
        return;
    started = true;
    static int argc = 1;
    static char name[] = "fuzz";
    static char *argv[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    new QCoreApplication(argc, argv);
}

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}

} // namespace FuzzSupport
