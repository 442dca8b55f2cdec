#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Property lists in the published XML and binary forms, as QVariant trees:
// QVariantMap, QVariantList, QString, qint64, double, bool, QDateTime and
// QByteArray. Readers accept both forms; the writer takes a format code.
class MVPropertyList
{
public:
    enum Format {
        XMLFormat = 100,
        BinaryFormat = 200,
    };

    // Parses bytes in either form. Nothing (and a reason) for bytes that are
    // not a property list.
    static std::optional<QVariant> fromData(const QByteArray &data, QString *error = nullptr);
    static std::optional<QVariant> readFile(const QString &path, QString *error = nullptr);
    // Reads a file whose top level must be a dictionary.
    static std::optional<QVariantMap> readDictionary(const QString &path, QString *error = nullptr);

    // Serialises a tree; nothing for a value that has no property-list form.
    static std::optional<QByteArray> toData(const QVariant &plist, Format format, QString *error = nullptr);
    // Serialises and writes atomically, creating the parent directory.
    static bool writeFile(const QVariant &plist, const QString &path, Format format, QString *error = nullptr);
};
