#include "language/MVTheme.h"

#include "app/Defaults.h"
#include "language/MVColorAdditions.h"
#include "platform/MVLog.h"
#include "platform/MVPropertyList.h"
#include "platform/MVStringTable.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QUuid>

namespace {

const QString BackgroundKey = QStringLiteral("background");
const QString ForegroundKey = QStringLiteral("foreground");
const QString InsertionPointKey = QStringLiteral("insertion-point");
const QString InvisiblesKey = QStringLiteral("invisibles");
const QString SelectionKey = QStringLiteral("selection");

QString newUUID()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

QString userThemesDirectory()
{
    return Defaults::tildePath() + QStringLiteral("/Themes");
}

bool isInsideDirectory(const QString &path, const QString &directory)
{
    const QString dir = QDir::cleanPath(QFileInfo(directory).absoluteFilePath()) + QLatin1Char('/');
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath()).startsWith(dir);
}

} // namespace

MVTheme::MVTheme()
    : _title(MVLocalizedString(QStringLiteral("New Theme")))
    , _modified(true)
    , _backgroundColor(QColor::fromRgbF(1, 1, 1, 1))
    , _textColor(QColor::fromRgbF(0, 0, 0, 1))
    , _insertionPointColor(_textColor)
    , _invisiblesColor(_textColor)
    , _selectionColor(defaultSelectionColor())
{
}

QColor MVTheme::defaultSelectionColor()
{
    // A light blue that keeps dark text readable.
    return QColor(0xb5, 0xd5, 0xff);
}

bool MVTheme::isSafeFileName(const QString &name)
{
    if (name.isEmpty() || name.size() > 200 || name.startsWith(QLatin1Char('.')))
        return false;
    for (QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            return false;
    }
    return true;
}

QColor MVTheme::_colorFromValue(const QVariant &value, const QString &what)
{
    if (!value.isValid())
        return QColor();
    if (value.typeId() != QMetaType::QString) {
        _loadProblems << QStringLiteral("%1 is not a colour string").arg(what);
        return QColor();
    }
    const QString string = value.toString();
    static const QRegularExpression form(QStringLiteral("^#([0-9A-Fa-f]{6}|[0-9A-Fa-f]{8})$"));
    if (!form.match(string).hasMatch())
        _loadProblems << QStringLiteral("%1 \"%2\" is not of the form #rrggbb or #rrggbbaa").arg(what, string);
    return MVColorAdditions::colorFromStyleString(string);
}

std::shared_ptr<MVTheme> MVTheme::initWithPlist(const QVariantMap &plist)
{
    auto theme = std::make_shared<MVTheme>();
    theme->_modified = false;
    theme->_title.clear();
    theme->_backgroundColor = theme->_textColor = theme->_insertionPointColor = QColor();
    theme->_invisiblesColor = theme->_selectionColor = QColor();

    const QVariant id = plist.value(QStringLiteral("id"));
    if (id.typeId() == QMetaType::QString)
        theme->_identifier = id.toString();
    else
        theme->_loadProblems << QStringLiteral("\"id\" is missing or not a string");
    const QVariant title = plist.value(QStringLiteral("format-title"));
    if (title.typeId() == QMetaType::QString)
        theme->_title = title.toString();
    else
        theme->_loadProblems << QStringLiteral("\"format-title\" is missing or not a string");

    const QVariant globals = plist.value(QStringLiteral("global-settings"));
    if (globals.typeId() == QMetaType::QVariantMap) {
        const QVariantMap g = globals.toMap();
        theme->_backgroundColor = theme->_colorFromValue(g.value(BackgroundKey), BackgroundKey);
        theme->_textColor = theme->_colorFromValue(g.value(ForegroundKey), ForegroundKey);
        theme->_insertionPointColor = theme->_colorFromValue(g.value(InsertionPointKey), InsertionPointKey);
        theme->_invisiblesColor = theme->_colorFromValue(g.value(InvisiblesKey), InvisiblesKey);
        theme->_selectionColor = theme->_colorFromValue(g.value(SelectionKey), SelectionKey);
    } else if (globals.isValid()) {
        theme->_loadProblems << QStringLiteral("\"global-settings\" is not a dictionary");
    }

    const QVariant styles = plist.value(QStringLiteral("styles"));
    if (styles.typeId() == QMetaType::QVariantList)
        theme->_loadStylesFromPlist(styles.toList());
    else if (styles.isValid())
        theme->_loadProblems << QStringLiteral("\"styles\" is not an array");
    return theme;
}

void MVTheme::_loadStylesFromPlist(const QVariantList &styles)
{
    for (qsizetype i = 0; i < styles.size(); ++i) {
        const QVariant &entry = styles.at(i);
        if (entry.typeId() != QMetaType::QVariantMap) {
            _loadProblems << QStringLiteral("style %1 is not a dictionary").arg(i);
            continue;
        }
        const QVariantMap style = entry.toMap();
        const QVariant id = style.value(QStringLiteral("id"));
        if (id.typeId() != QMetaType::QString || id.toString().isEmpty()) {
            _loadProblems << QStringLiteral("style %1 has no \"id\" string").arg(i);
            continue;
        }
        const QString name = id.toString();
        MVTextAttributes attributes;
        const QColor foreground = _colorFromValue(style.value(ForegroundKey), name + QStringLiteral(" foreground"));
        const QColor background = _colorFromValue(style.value(BackgroundKey), name + QStringLiteral(" background"));
        if (foreground.isValid())
            attributes.setForeground(foreground);
        if (background.isValid())
            attributes.setBackground(background);
        if (attributes.isEmpty()) {
            _loadProblems << QStringLiteral("style \"%1\" has no colour").arg(name);
            continue;
        }
        if (_styles.contains(name))
            _loadProblems << QStringLiteral("style \"%1\" is defined twice; the later entry counts").arg(name);
        _styles.insert(name, attributes);
    }
}

std::shared_ptr<MVTheme> MVTheme::initWithContentsOfFile(const QString &path)
{
    QString error;
    const auto dictionary = MVPropertyList::readDictionary(path, &error);
    std::shared_ptr<MVTheme> theme;
    if (dictionary) {
        theme = initWithPlist(*dictionary);
    } else {
        theme = initWithPlist(QVariantMap());
        theme->_loadProblems = QStringList{QStringLiteral("the file is not readable: %1").arg(error)};
    }
    theme->_path = path;
    return theme;
}

std::shared_ptr<MVTheme> MVTheme::copy() const
{
    auto theme = initWithPlist(plistRepresentation());
    theme->_identifier.clear();
    theme->_loadProblems.clear();
    theme->_modified = true;
    return theme;
}

bool MVTheme::setValueForKey(const QVariant &value, const QString &key)
{
    if (key == QLatin1String("title")) {
        setTitle(value.toString());
        return true;
    }
    QColor color;
    if (value.typeId() == QMetaType::QColor)
        color = value.value<QColor>();
    else if (value.typeId() == QMetaType::QString)
        color = MVColorAdditions::colorFromStyleString(value.toString());
    if (!color.isValid())
        return false;
    if (key == QLatin1String("backgroundColor"))
        setBackgroundColor(color);
    else if (key == QLatin1String("textColor"))
        setTextColor(color);
    else if (key == QLatin1String("insertionPointColor"))
        setInsertionPointColor(color);
    else if (key == QLatin1String("invisiblesColor"))
        setInvisiblesColor(color);
    else if (key == QLatin1String("selectionColor"))
        setSelectionColor(color);
    else
        return false;
    return true;
}

bool MVTheme::commit(QString *error)
{
    if (!_modified)
        return true;
    const QString directory = userThemesDirectory();
    const QString id = identifier();
    QString target;
    if (!_path.isEmpty() && isInsideDirectory(_path, directory)) {
        target = _path;
    } else {
        QString name = isSafeFileName(id) ? id : newUUID();
        target = directory + QLatin1Char('/') + name + QStringLiteral(".plist");
        // Never write over the file of another theme that happens to have the name.
        if (QFileInfo::exists(target)) {
            const auto existing = MVPropertyList::readDictionary(target);
            if (!existing || existing->value(QStringLiteral("id")).toString() != id)
                target = directory + QLatin1Char('/') + newUUID() + QStringLiteral(".plist");
        }
    }
    QString reason;
    if (!MVPropertyList::writeFile(plistRepresentation(), target, MVPropertyList::XMLFormat, &reason)) {
        MVLog::line(QStringLiteral("THEME COMMIT FAILED: %1: %2").arg(target, reason));
        if (error)
            *error = reason.isEmpty() ? QStringLiteral("could not write %1").arg(target) : reason;
        return false;
    }
    _path = target;
    _modified = false;
    return true;
}

int MVTheme::compareTitle(const MVTheme &other) const
{
    return QString::compare(_title, other._title, Qt::CaseInsensitive);
}

void MVTheme::setTitle(const QString &title)
{
    _title = title;
    _modified = true;
}

QString MVTheme::identifier()
{
    if (_identifier.isEmpty())
        _identifier = newUUID();
    return _identifier;
}

void MVTheme::setIdentifier(const QString &identifier)
{
    _identifier = identifier;
    _modified = true;
}

MVTextAttributes MVTheme::attributesForIdentifier(const QString &identifier) const
{
    QString name = identifier;
    auto found = _styles.constFind(name);
    for (;;) {
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        const bool hasExtension = dot > 0 && dot < name.size() - 1;
        if (!hasExtension)
            break;
        if (found != _styles.constEnd())
            return *found;
        name.truncate(dot);
        found = _styles.constFind(name);
    }
    return found != _styles.constEnd() ? *found : MVTextAttributes();
}

bool MVTheme::addStyle(const QString &identifier, const MVTextAttributes &attributes)
{
    if (identifier.isEmpty() || attributes.isEmpty() || _styles.contains(identifier))
        return false;
    _styles.insert(identifier, attributes);
    _modified = true;
    return true;
}

void MVTheme::changeIdentifier(const QString &oldIdentifier, const QString &newIdentifier)
{
    const MVTextAttributes attributes = attributesForIdentifier(oldIdentifier);
    _styles.remove(oldIdentifier);
    if (!newIdentifier.isEmpty() && !attributes.isEmpty())
        _styles.insert(newIdentifier, attributes);
    _modified = true;
}

bool MVTheme::changeStyle(const QString &identifier, const MVTextAttributes &attributes)
{
    if (identifier.isEmpty() || attributes.isEmpty())
        return false;
    _styles.insert(identifier, attributes);
    _modified = true;
    return true;
}

void MVTheme::removeStyle(const QString &identifier)
{
    _styles.remove(identifier);
    _modified = true;
}

void MVTheme::setBackgroundColor(const QColor &color)
{
    _backgroundColor = color;
    _modified = true;
}

void MVTheme::setTextColor(const QColor &color)
{
    _textColor = color;
    _modified = true;
}

void MVTheme::setInsertionPointColor(const QColor &color)
{
    _insertionPointColor = color;
    _modified = true;
}

void MVTheme::setInvisiblesColor(const QColor &color)
{
    _invisiblesColor = color;
    _modified = true;
}

void MVTheme::setSelectionColor(const QColor &color)
{
    _selectionColor = color;
    _modified = true;
}

QVariantMap MVTheme::plistRepresentation() const
{
    QVariantMap plist;
    plist.insert(QStringLiteral("id"), _identifier);
    plist.insert(QStringLiteral("format-title"), _title);
    plist.insert(QStringLiteral("format-version"), QStringLiteral("1.0"));
    QVariantMap globals;
    auto put = [&globals](const QString &key, const QColor &color) {
        if (color.isValid())
            globals.insert(key, MVColorAdditions::styleString(color));
    };
    put(BackgroundKey, _backgroundColor);
    put(ForegroundKey, _textColor);
    put(InsertionPointKey, _insertionPointColor);
    put(InvisiblesKey, _invisiblesColor);
    put(SelectionKey, _selectionColor);
    plist.insert(QStringLiteral("global-settings"), globals);
    QVariantList styles;
    for (auto it = _styles.constBegin(); it != _styles.constEnd(); ++it) {
        QVariantMap style;
        style.insert(QStringLiteral("id"), it.key());
        if (it->has(MVAttribute::ForegroundColor))
            style.insert(ForegroundKey, MVColorAdditions::styleString(QColor::fromRgba(it->foreground())));
        if (it->has(MVAttribute::BackgroundColor))
            style.insert(BackgroundKey, MVColorAdditions::styleString(QColor::fromRgba(it->background())));
        styles.append(style);
    }
    plist.insert(QStringLiteral("styles"), styles);
    return plist;
}
