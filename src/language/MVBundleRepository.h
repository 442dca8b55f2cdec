#pragma once

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class MVBundle;

// All languages, and the one place that decides the language of a file.
// Languages come from the user's "Bundles" folder (at any depth) and then
// from the application's; the first copy of a bundle identifier wins, so the
// user's copy shadows the shipped one. A user's copy with a definition file
// that cannot be read stands aside for the shipped copy, and the user is
// told once. Loaded on the first lookup; safe to use from any thread.
class MVBundleRepository
{
public:
    static MVBundleRepository &sharedRepository();

    MVBundleRepository();
    ~MVBundleRepository();
    MVBundleRepository(const MVBundleRepository &) = delete;
    MVBundleRepository &operator=(const MVBundleRepository &) = delete;

    using Ordering = std::function<bool(const std::shared_ptr<MVBundle> &, const std::shared_ptr<MVBundle> &)>;
    // All languages, sorted by the ordering when one is given.
    std::vector<std::shared_ptr<MVBundle>> bundles(const Ordering &ordering = {});
    // Case-insensitive order of titles, the order of every list of languages.
    static bool titleOrder(const std::shared_ptr<MVBundle> &a, const std::shared_ptr<MVBundle> &b);

    // The language with the title (ignoring case) if there is one; null if
    // the parser identifier is taken; else a new language without directory.
    std::shared_ptr<MVBundle> addBundleWithTitle(const QString &title, const QString &parseIdentifier);
    // Hides the language for good (MVHiddenBundles); no file is deleted.
    // Refuses, giving false, the language of "text.html", which every text
    // falls back on.
    bool removeBundle(const std::shared_ptr<MVBundle> &bundle);
    // Rebuilds the map from extension to language. Where two languages claim
    // one extension, the one with the later bundle identifier wins.
    void refreshBundleFileTypes();

    std::shared_ptr<MVBundle> bundleForBundleIdentifier(const QString &bundleIdentifier);
    // By parser identifier; null for an empty one.
    std::shared_ptr<MVBundle> bundleForIdentifier(const QString &identifier);
    // By exact, case-sensitive extension. The category is not consulted yet.
    std::shared_ptr<MVBundle> bundleForFileCategory(const QString &category, const QString &extension);
    // The language a text view takes for a path: by its extension, else the
    // language of "text.html".
    std::shared_ptr<MVBundle> bundleForPath(const QString &path);

    // Reasons why directories were skipped at loading (for logs and checks).
    QStringList loadProblems();

private:
    void _loadBundlesIfNeeded();
    void _loadBundles();
    void _enterBundle(const std::shared_ptr<MVBundle> &bundle);

    std::recursive_mutex _lock;
    QSet<QString> _hiddenBundles;
    QMap<QString, std::shared_ptr<MVBundle>> _bundlesByID;
    QHash<QString, std::shared_ptr<MVBundle>> _bundlesByFileType;
    QHash<QString, std::shared_ptr<MVBundle>> _bundlesByParser;
    QStringList _loadProblems;
    bool _loading = false;
};
