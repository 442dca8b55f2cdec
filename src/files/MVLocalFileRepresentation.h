#pragma once

#include "files/MVFileRepresentation.h"

#include <optional>

// A file or directory on the local disk. Answers every request at once,
// inside the call. Deleting never follows a symbolic link, and moving or
// renaming never replaces an existing name.
class MVLocalFileRepresentation : public MVFileRepresentation
{
public:
    static std::shared_ptr<MVLocalFileRepresentation> make(const QString &path);
    static std::shared_ptr<MVLocalFileRepresentation> make(const QString &path,
                                                           const std::shared_ptr<MVFileRepresentationDelegate> &delegate);

    explicit MVLocalFileRepresentation(const QString &path);

    // The delegate's path for this file, or the path it was made with.
    QString path();

    bool isLocal() const override { return true; }
    bool loadChildren() override;
    bool loadFileAttributes() override;
    bool reloadChildren() override;
    void deleteFile() override;
    void duplicate() override;
    bool moveToPath(const QString &path, const Context &context) override;
    void rename(const QString &newName, const Context &context) override;
    void moveToTrash() override;

private:
    std::optional<List> _loadChildren();
    // Renames without replacing; false with errno set on failure.
    static bool _moveWithoutReplacing(const QString &from, const QString &to);
    void _reportError(const QString &path, const QString &reason);

    QString _initialPath;
};
