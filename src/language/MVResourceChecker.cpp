#include "language/MVResourceChecker.h"

#include "language/MVBundle.h"
#include "language/MVColorAdditions.h"
#include "language/MVTheme.h"
#include "platform/MVPropertyList.h"
#include "search/MVRegex.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QSet>

namespace {

bool isStringList(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantList)
        return false;
    const QVariantList list = value.toList();
    return std::all_of(list.cbegin(), list.cend(),
                       [](const QVariant &entry) { return entry.typeId() == QMetaType::QString; });
}

QStringList entries(const QString &directory, const QString &suffix, QDir::Filters filters)
{
    QStringList result;
    const QDir dir(directory);
    for (const QString &name : dir.entryList(filters | QDir::NoDotAndDotDot, QDir::Name)) {
        if (name.endsWith(suffix))
            result.append(dir.filePath(name));
    }
    return result;
}

void checkInfoTypes(const QString &where, const QVariantMap &info, QStringList &problems)
{
    auto expect = [&](const QString &key, bool ok, const char *what) {
        if (info.contains(key) && !ok)
            problems << QStringLiteral("%1: \"%2\" is not %3").arg(where, key, QLatin1String(what));
    };
    const QVariant name = info.value(QStringLiteral("CFBundleName"));
    if (name.typeId() != QMetaType::QString || name.toString().isEmpty())
        problems << QStringLiteral("%1: CFBundleName is missing or not a string").arg(where);
    expect(QStringLiteral("CFBundleVersion"), info.value(QStringLiteral("CFBundleVersion")).typeId() == QMetaType::QString,
           "a string");
    expect(QStringLiteral("hide-in-list"), info.value(QStringLiteral("hide-in-list")).typeId() == QMetaType::Bool,
           "a boolean");
    expect(QStringLiteral("tooltip"), info.value(QStringLiteral("tooltip")).typeId() == QMetaType::QString, "a string");
    expect(QStringLiteral("file-categories"), isStringList(info.value(QStringLiteral("file-categories"))),
           "an array of strings");
    expect(QStringLiteral("file-types"), isStringList(info.value(QStringLiteral("file-types"))), "an array of strings");
}

void checkPattern(const QString &where, const QVariant &pattern, QStringList &problems)
{
    if (pattern.typeId() != QMetaType::QString || !MVRegex::validPattern(pattern.toString()))
        problems << QStringLiteral("%1: pattern \"%2\" does not compile").arg(where, pattern.toString());
}

} // namespace

const QStringList &MVResourceChecker::standardStyleIdentifiers()
{
    static const QStringList identifiers = {
        QStringLiteral("comment"),           QStringLiteral("comment.line"),
        QStringLiteral("comment.block"),     QStringLiteral("comment.doc"),
        QStringLiteral("string"),            QStringLiteral("string.single"),
        QStringLiteral("string.double"),     QStringLiteral("string.regex"),
        QStringLiteral("constant"),          QStringLiteral("constant.numeric"),
        QStringLiteral("constant.language"), QStringLiteral("constant.character"),
        QStringLiteral("keyword"),           QStringLiteral("keyword.control"),
        QStringLiteral("keyword.declaration"), QStringLiteral("keyword.operator"),
        QStringLiteral("keyword.directive"), QStringLiteral("type"),
        QStringLiteral("type.builtin"),      QStringLiteral("function"),
        QStringLiteral("function.builtin"),  QStringLiteral("variable"),
        QStringLiteral("variable.language"), QStringLiteral("variable.special"),
        QStringLiteral("markup.tag"),        QStringLiteral("markup.attribute"),
        QStringLiteral("markup.string"),     QStringLiteral("markup.comment"),
        QStringLiteral("markup.entity"),     QStringLiteral("markup.heading"),
        QStringLiteral("markup.emphasis"),   QStringLiteral("markup.code"),
        QStringLiteral("markup.link"),       QStringLiteral("css.selector"),
        QStringLiteral("css.property"),      QStringLiteral("css.value"),
        QStringLiteral("css.at-rule"),       QStringLiteral("css.unit"),
    };
    return identifiers;
}

const QStringList &MVResourceChecker::requiredParserIdentifiers()
{
    static const QStringList identifiers = {QStringLiteral("text.html"), QStringLiteral("text.css"),
                                            QStringLiteral("text.js"), QStringLiteral("text.perl"),
                                            QStringLiteral("text.py")};
    return identifiers;
}

QString MVResourceChecker::defaultThemeIdentifier()
{
    return QStringLiteral("com.morvelworks.morvel.themes.light");
}

QStringList MVResourceChecker::checkResources(const QString &resourcesPath)
{
    std::vector<std::shared_ptr<MVTheme>> themes;
    QStringList problems = checkThemes(resourcesPath + QStringLiteral("/Themes"), &themes);
    problems += checkBundles(resourcesPath + QStringLiteral("/Bundles"), themes);
    return problems;
}

QStringList MVResourceChecker::checkThemes(const QString &themesDirectory, std::vector<std::shared_ptr<MVTheme>> *themes)
{
    QStringList problems;
    QHash<QString, QString> fileOfIdentifier;
    const QStringList files = entries(themesDirectory, QStringLiteral(".plist"), QDir::Files);
    if (files.isEmpty())
        problems << QStringLiteral("%1: no themes").arg(themesDirectory);
    for (const QString &file : files) {
        auto theme = MVTheme::initWithContentsOfFile(file);
        for (const QString &problem : theme->loadProblems())
            problems << QStringLiteral("%1: %2").arg(file, problem);
        if (theme->title().isEmpty())
            problems << QStringLiteral("%1: the title is empty").arg(file);
        if (!theme->hasIdentifier())
            continue;
        const QString id = theme->identifier();
        if (fileOfIdentifier.contains(id))
            problems << QStringLiteral("%1: the identifier %2 is also that of %3").arg(file, id, fileOfIdentifier.value(id));
        fileOfIdentifier.insert(id, file);
        const QColor globals[] = {theme->backgroundColor(), theme->textColor(), theme->insertionPointColor(),
                                  theme->invisiblesColor(), theme->selectionColor()};
        if (std::any_of(std::begin(globals), std::end(globals), [](const QColor &c) { return !c.isValid(); }))
            problems << QStringLiteral("%1: \"global-settings\" lacks one of its five colours").arg(file);
        for (const QString &style : standardStyleIdentifiers()) {
            if (!theme->attributesForIdentifier(style).has(MVAttribute::ForegroundColor))
                problems << QStringLiteral("%1: the style %2 has no colour").arg(file, style);
        }
        if (themes)
            themes->push_back(theme);
    }
    if (!files.isEmpty() && !fileOfIdentifier.contains(defaultThemeIdentifier()))
        problems << QStringLiteral("%1: no theme has the default identifier %2").arg(themesDirectory, defaultThemeIdentifier());
    return problems;
}

QStringList MVResourceChecker::styleIdentifiersOfSyntax(const QVariantMap &syntax)
{
    QStringList ids;
    const QString format = syntax.value(QStringLiteral("format-type")).toString();
    if (format == QLatin1String("keyword")) {
        ids += syntax.value(QStringLiteral("keywords")).toMap().keys();
        for (const QVariant &entry : syntax.value(QStringLiteral("regex-keywords")).toList())
            ids << entry.toMap().value(QStringLiteral("id")).toString();
        const QVariantMap quotes = syntax.value(QStringLiteral("quotes")).toMap();
        for (const QString &key : {QStringLiteral("single"), QStringLiteral("double")}) {
            if (quotes.contains(key))
                ids << quotes.value(key).toString();
        }
        for (const QVariant &entry : syntax.value(QStringLiteral("comments")).toList())
            ids << entry.toMap().value(QStringLiteral("id")).toString();
    } else if (format == QLatin1String("tag")) {
        const QVariantMap style = syntax.value(QStringLiteral("style")).toMap();
        for (auto it = style.cbegin(); it != style.cend(); ++it)
            ids << it.value().toString();
    }
    ids.removeDuplicates();
    return ids;
}

QStringList MVResourceChecker::checkBundles(const QString &bundlesDirectory,
                                            const std::vector<std::shared_ptr<MVTheme>> &themes)
{
    QStringList problems;
    QHash<QString, QString> pathOfBundleID;
    QHash<QString, QString> pathOfParserID;
    QHash<QString, QString> pathOfExtension;
    QList<QPair<QString, QVariantMap>> syntaxes;

    for (const QString &path : entries(bundlesDirectory, QStringLiteral(".mvbundle"), QDir::AllEntries)) {
        QString error;
        // Loaded in full, so that the classes registered for the definition
        // files read them as the program will.
        const auto bundle = MVBundle::initWithPath(path, false, &error);
        if (!bundle) {
            problems << error;
            continue;
        }
        const QString infoPath = path + QStringLiteral("/Contents/Info.plist");
        checkInfoTypes(infoPath, *MVPropertyList::readDictionary(infoPath), problems);

        const QString id = bundle->bundleIdentifier();
        if (pathOfBundleID.contains(id))
            problems << QStringLiteral("%1: the bundle identifier %2 is also that of %3").arg(path, id, pathOfBundleID.value(id));
        pathOfBundleID.insert(id, path);

        for (const QString &type : bundle->fileTypes()) {
            if (type.isEmpty() || type.contains(QLatin1Char('.')) || type.contains(QLatin1Char('/')))
                problems << QStringLiteral("%1: \"%2\" is not a file extension").arg(path, type);
            else if (pathOfExtension.contains(type))
                problems << QStringLiteral("%1: the extension %2 is also claimed by %3").arg(path, type, pathOfExtension.value(type));
            pathOfExtension.insert(type, path);
        }

        const QString contents = path + QStringLiteral("/Contents/");
        const struct { const char *name; QMetaType::Type type; } files[] = {
            {"syntax.plist", QMetaType::QVariantMap},     {"codenav.plist", QMetaType::QVariantList},
            {"hinting.plist", QMetaType::QVariantMap},    {"completion.plist", QMetaType::QVariantMap},
            {"indexer.plist", QMetaType::QVariantMap},
        };
        for (const auto &file : files) {
            const QString filePath = contents + QLatin1String(file.name);
            if (!QFileInfo::exists(filePath))
                continue;
            QString reason;
            const auto value = MVPropertyList::readFile(filePath, &reason);
            if (!value)
                problems << QStringLiteral("%1: not readable: %2").arg(filePath, reason);
            else if (value->typeId() != file.type)
                problems << QStringLiteral("%1: the root is of the wrong type").arg(filePath);
        }

        const QString syntaxPath = contents + QStringLiteral("syntax.plist");
        const auto syntax = MVPropertyList::readDictionary(syntaxPath);
        if (!syntax) {
            if (!QFileInfo::exists(syntaxPath))
                problems << QStringLiteral("%1: missing, so the language has no parser identifier").arg(syntaxPath);
            continue;
        }
        const QVariant parserID = syntax->value(QStringLiteral("format-id"));
        if (parserID.typeId() != QMetaType::QString || parserID.toString().isEmpty()) {
            problems << QStringLiteral("%1: \"format-id\" is missing or not a string").arg(syntaxPath);
        } else {
            const QString pid = parserID.toString();
            if (pathOfParserID.contains(pid))
                problems << QStringLiteral("%1: the parser identifier %2 is also claimed by %3").arg(path, pid, pathOfParserID.value(pid));
            pathOfParserID.insert(pid, path);
        }
        const QString format = syntax->value(QStringLiteral("format-type")).toString();
        if (syntax->contains(QStringLiteral("format-type")) && format != QLatin1String("keyword")
            && format != QLatin1String("tag"))
            problems << QStringLiteral("%1: unknown \"format-type\" \"%2\"").arg(syntaxPath, format);
        const QVariantMap folding = syntax->value(QStringLiteral("folding")).toMap();
        for (auto it = folding.cbegin(); it != folding.cend(); ++it)
            checkPattern(syntaxPath + QStringLiteral(" folding ") + it.key(), it.value(), problems);
        for (const QVariant &entry : syntax->value(QStringLiteral("regex-keywords")).toList())
            checkPattern(syntaxPath + QStringLiteral(" regex-keywords"), entry.toMap().value(QStringLiteral("keyword")),
                         problems);
        if (syntax->value(QStringLiteral("openers")).toList().size()
            != syntax->value(QStringLiteral("closers")).toList().size())
            problems << QStringLiteral("%1: \"openers\" and \"closers\" differ in number").arg(syntaxPath);
        syntaxes.append({syntaxPath, *syntax});
    }

    for (const QString &required : requiredParserIdentifiers()) {
        if (!pathOfParserID.contains(required))
            problems << QStringLiteral("%1: no language has the parser identifier %2").arg(bundlesDirectory, required);
    }
    for (const auto &[syntaxPath, syntax] : std::as_const(syntaxes)) {
        // Languages named inside a tag language must exist.
        const QVariantMap embedded = syntax.value(QStringLiteral("embedded")).toMap();
        for (auto it = embedded.cbegin(); it != embedded.cend(); ++it) {
            const QString target = it.value().typeId() == QMetaType::QVariantMap
                ? it.value().toMap().value(QStringLiteral("id")).toString()
                : it.value().toString();
            if (!pathOfParserID.contains(target))
                problems << QStringLiteral("%1: embedded \"%2\" names the unknown language %3").arg(syntaxPath, it.key(), target);
        }
        for (const QVariant &element : syntax.value(QStringLiteral("embedded-elements")).toList()) {
            if (!pathOfParserID.contains(element.toString()))
                problems << QStringLiteral("%1: embedded-elements names the unknown language %2").arg(syntaxPath, element.toString());
        }
        for (const QString &style : styleIdentifiersOfSyntax(syntax)) {
            if (style.isEmpty()) {
                problems << QStringLiteral("%1: an entry has no style identifier").arg(syntaxPath);
                continue;
            }
            for (const auto &theme : themes) {
                if (theme->attributesForIdentifier(style).isEmpty())
                    problems << QStringLiteral("%1: the style %2 is not defined by the theme %3").arg(syntaxPath, style, theme->path());
            }
        }
    }
    return problems;
}

QStringList MVResourceChecker::checkContrast(MVTheme &theme, double minimumRatio)
{
    QStringList problems;
    const QString name = theme.path().isEmpty() ? theme.title() : theme.path();
    const QColor background = theme.backgroundColor();
    auto check = [&](const QString &what, const QColor &front, const QColor &back, const QString &against) {
        if (!front.isValid() || !back.isValid())
            return;
        const double ratio = MVColorAdditions::contrastRatio(front, back);
        if (ratio < minimumRatio)
            problems << QStringLiteral("%1: %2 %3 on %4 %5 has a contrast of %6, less than %7")
                            .arg(name, what, MVColorAdditions::styleString(front, false), against,
                                 MVColorAdditions::styleString(back, false))
                            .arg(ratio, 0, 'f', 2)
                            .arg(minimumRatio);
    };
    check(QStringLiteral("the text"), theme.textColor(), background, QStringLiteral("the background"));
    check(QStringLiteral("the text"), theme.textColor(), theme.selectionColor(), QStringLiteral("the selection"));
    for (const QString &style : theme.styleIdentifiers()) {
        const MVTextAttributes attributes = theme.attributesForIdentifier(style);
        if (!attributes.has(MVAttribute::ForegroundColor))
            continue;
        const QColor front = QColor::fromRgba(attributes.foreground());
        const QColor back = attributes.has(MVAttribute::BackgroundColor) ? QColor::fromRgba(attributes.background())
                                                                          : background;
        check(QStringLiteral("the style ") + style, front, back, QStringLiteral("the background"));
        if (!attributes.has(MVAttribute::BackgroundColor))
            check(QStringLiteral("the style ") + style, front, theme.selectionColor(), QStringLiteral("the selection"));
    }
    return problems;
}
