#include "language/MVThemeRepository.h"

#include "app/Defaults.h"
#include "language/MVTheme.h"
#include "platform/MVLog.h"
#include "platform/MVStringTable.h"
#include "platform/MVUserDefaults.h"

#include <algorithm>

namespace {

const QString CurrentThemeKey = QStringLiteral("MVCurrentThemeID");
const QString HiddenThemesKey = QStringLiteral("MVHiddenThemes");

} // namespace

MVThemeRepository &MVThemeRepository::sharedRepository()
{
    static MVThemeRepository repository;
    return repository;
}

MVThemeRepository::MVThemeRepository() = default;
MVThemeRepository::~MVThemeRepository() = default;

void MVThemeRepository::_loadThemes()
{
    if (_themes && !_themes->empty())
        return;
    _themes.emplace();
    MVUserDefaults &defaults = MVUserDefaults::standard();
    _hiddenThemes.clear();
    for (const QVariant &value : defaults.arrayForKey(HiddenThemesKey)) {
        if (value.typeId() == QMetaType::QString)
            _hiddenThemes.insert(value.toString());
    }
    const QString currentID = defaults.stringForKey(CurrentThemeKey);
    QSet<QString> seen;
    for (const QString &path : Defaults::pathsForResourcesOfType(QStringLiteral("plist"), QStringLiteral("Themes"))) {
        auto theme = MVTheme::initWithContentsOfFile(path);
        for (const QString &problem : theme->loadProblems())
            MVLog::line(QStringLiteral("THEME %1: %2").arg(path, problem));
        const QString id = theme->identifier();
        if (_hiddenThemes.contains(id) || seen.contains(id))
            continue;
        seen.insert(id);
        _themes->push_back(theme);
    }
    std::stable_sort(_themes->begin(), _themes->end(),
                     [](const auto &a, const auto &b) { return a->compareTitle(*b) < 0; });
    // An identifier that names no theme (a theme removed, a typing error)
    // falls back to the default theme, else the first by title. The stored
    // identifier is left as it is: the theme may come back.
    QString defaultID;
    for (const auto &[key, value] : Defaults::registeredDefaults()) {
        if (key == CurrentThemeKey)
            defaultID = value.toString();
    }
    for (const QString &wanted : {currentID, defaultID}) {
        const auto it = std::find_if(_themes->begin(), _themes->end(),
                                     [&wanted](const auto &theme) { return theme->identifier() == wanted; });
        if (it != _themes->end()) {
            _currentTheme = *it;
            return;
        }
    }
    if (!_themes->empty())
        _currentTheme = _themes->front();
}

std::shared_ptr<MVTheme> MVThemeRepository::currentTheme()
{
    _loadThemes();
    return _currentTheme;
}

void MVThemeRepository::setCurrentTheme(const std::shared_ptr<MVTheme> &theme)
{
    _currentTheme = theme;
    if (theme)
        MVUserDefaults::standard().setObject(CurrentThemeKey, theme->identifier());
}

const std::vector<std::shared_ptr<MVTheme>> &MVThemeRepository::themes()
{
    _loadThemes();
    return *_themes;
}

qsizetype MVThemeRepository::countOfThemes()
{
    return qsizetype(themes().size());
}

std::shared_ptr<MVTheme> MVThemeRepository::objectInThemesAtIndex(qsizetype index)
{
    const auto &list = themes();
    return index >= 0 && index < qsizetype(list.size()) ? list[size_t(index)] : nullptr;
}

void MVThemeRepository::insertObjectInThemesAtIndex(const std::shared_ptr<MVTheme> &theme, qsizetype index)
{
    _loadThemes();
    if (!theme)
        return;
    index = std::clamp<qsizetype>(index, 0, qsizetype(_themes->size()));
    _themes->insert(_themes->begin() + index, theme);
}

bool MVThemeRepository::removeObjectFromThemesAtIndex(qsizetype index)
{
    _loadThemes();
    if (index < 0 || index >= qsizetype(_themes->size()) || _themes->size() <= 1)
        return false;
    const auto theme = (*_themes)[size_t(index)];
    _hiddenThemes.insert(theme->identifier());
    QStringList hidden(_hiddenThemes.begin(), _hiddenThemes.end());
    hidden.sort();
    MVUserDefaults::standard().setObject(HiddenThemesKey, QVariant(QVariantList(hidden.cbegin(), hidden.cend())));
    _themes->erase(_themes->begin() + index);
    if (theme == _currentTheme)
        setCurrentTheme(_themes->back());
    return true;
}

std::shared_ptr<MVTheme> MVThemeRepository::duplicateTheme(const std::shared_ptr<MVTheme> &theme)
{
    _loadThemes();
    if (!theme)
        return nullptr;
    auto copy = theme->copy();
    copy->setTitle(MVLocalizedString(QStringLiteral("%@ copy")).replace(QStringLiteral("%@"), theme->title()));
    _themes->push_back(copy);
    return copy;
}

bool MVThemeRepository::commit(QString *error)
{
    _loadThemes();
    for (const auto &theme : *_themes) {
        if (!theme->commit(error))
            return false;
    }
    return true;
}

bool MVThemeRepository::modified()
{
    _loadThemes();
    return std::any_of(_themes->begin(), _themes->end(), [](const auto &theme) { return theme->modified(); });
}

std::shared_ptr<MVTheme> MVThemeRepository::themeWithIdentifier(const QString &identifier)
{
    for (const auto &theme : themes()) {
        if (theme->identifier() == identifier)
            return theme;
    }
    return nullptr;
}
