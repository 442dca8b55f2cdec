#pragma once

#include <QString>
#include <QVariantMap>

#include <memory>
#include <mutex>

class MVRegex;

// One rule that hides names from file lists: a title and a pattern matched
// anywhere in the name, without regard to case. Safe to match from several
// threads while the main thread edits it.
class MVFileFilter
{
public:
    // A new filter: titled "New Filter", enabled, with no pattern.
    MVFileFilter();
    explicit MVFileFilter(const QString &pattern);
    static std::shared_ptr<MVFileFilter> filterWithPattern(const QString &pattern);
    // From a stored entry: "Title", "Regex" (strings), "Enabled" (boolean).
    // Values of the wrong type count as missing.
    static std::shared_ptr<MVFileFilter> filterWithPlist(const QVariantMap &plist);
    std::shared_ptr<MVFileFilter> copy() const;
    // "Title" and "Regex" only if set, and "Enabled".
    QVariantMap plistRepresentation() const;

    // False when disabled, and for a pattern that is empty or does not
    // compile: such a filter hides nothing.
    bool matchesString(const QString &string) const;

    QString title() const;
    QString pattern() const;
    bool enabled() const;
    bool valid() const;
    bool modified() const;
    // Each setter checks the filter again and marks it modified.
    void setTitle(const QString &title);
    void setPattern(const QString &pattern);
    void setEnabled(bool enabled);
    void setModified(bool modified);
    // Valid with a title and a pattern that is empty or compiles.
    void validate();

private:
    void _validateLocked();

    mutable std::mutex _mutex;
    QString _title;
    QString _pattern;
    mutable std::shared_ptr<MVRegex> _regex;
    mutable bool _compiled = false;
    bool _enabled = true;
    bool _valid = false;
    bool _modified = false;
};
