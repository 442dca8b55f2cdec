#pragma once

#include <QSet>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

class MVTheme;

// The list of themes, sorted by title, with the current one. Themes come from
// the user's "Themes" folder first and then from the application's; a theme
// whose identifier was seen already (the user's copy) or that is hidden is
// left out. Main thread only.
class MVThemeRepository
{
public:
    static MVThemeRepository &sharedRepository();

    MVThemeRepository();
    ~MVThemeRepository();
    MVThemeRepository(const MVThemeRepository &) = delete;
    MVThemeRepository &operator=(const MVThemeRepository &) = delete;

    // The theme named by MVCurrentThemeID; for an identifier that names no
    // visible theme, the default theme or else the first by title, without
    // writing anything back.
    std::shared_ptr<MVTheme> currentTheme();
    // Stores the theme and, unless it is null, writes its identifier to
    // MVCurrentThemeID.
    void setCurrentTheme(const std::shared_ptr<MVTheme> &theme);

    const std::vector<std::shared_ptr<MVTheme>> &themes();
    qsizetype countOfThemes();
    std::shared_ptr<MVTheme> objectInThemesAtIndex(qsizetype index);
    void insertObjectInThemesAtIndex(const std::shared_ptr<MVTheme> &theme, qsizetype index);
    // Hides the theme at the index (no file is deleted). Refuses, giving
    // false, to hide the last visible theme or an index out of range. When
    // the current theme goes, the last theme of the list becomes current.
    bool removeObjectFromThemesAtIndex(qsizetype index);

    // A copy titled "<title> copy", appended to the list.
    std::shared_ptr<MVTheme> duplicateTheme(const std::shared_ptr<MVTheme> &theme);

    // Commits each theme in order and stops at the first failure.
    bool commit(QString *error = nullptr);
    bool modified();

    // The theme with the identifier among the visible ones, or null.
    std::shared_ptr<MVTheme> themeWithIdentifier(const QString &identifier);

private:
    void _loadThemes();

    std::shared_ptr<MVTheme> _currentTheme;
    std::optional<std::vector<std::shared_ptr<MVTheme>>> _themes;
    QSet<QString> _hiddenThemes;
};
