#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <vector>

class MVTheme;

// Checks the languages and themes as shipped (or as a user made them) for
// what the program would silently skip or get wrong: unreadable or
// malformed files, missing identifiers, identifiers or extensions claimed
// twice, style identifiers a theme does not colour, patterns that do not
// compile, colours that are hard to read. Each problem is one line that
// names the file.
class MVResourceChecker
{
public:
    // The style identifiers that languages use and every theme must colour
    // (directly or through a parent identifier).
    static const QStringList &standardStyleIdentifiers();
    // The parser identifiers the program itself relies on.
    static const QStringList &requiredParserIdentifiers();
    // The identifier of the theme the preferences start with.
    static QString defaultThemeIdentifier();

    // Both checks over "<resources>/Bundles" and "<resources>/Themes".
    static QStringList checkResources(const QString &resourcesPath);

    // Every "*.plist" of the directory as a theme; the themes read are
    // appended to themes when it is given.
    static QStringList checkThemes(const QString &themesDirectory,
                                   std::vector<std::shared_ptr<MVTheme>> *themes = nullptr);
    // Every "*.mvbundle" of the directory, with its style identifiers looked
    // up in each of the themes.
    static QStringList checkBundles(const QString &bundlesDirectory,
                                    const std::vector<std::shared_ptr<MVTheme>> &themes);

    // Text colours against the background and the selection, and every
    // style's foreground against its background (its own or the theme's).
    static QStringList checkContrast(MVTheme &theme, double minimumRatio);

    // The style identifiers a "syntax.plist" names, by its format.
    static QStringList styleIdentifiersOfSyntax(const QVariantMap &syntax);
};
