#pragma once

#include "language/MVBundleDefinition.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class MVBundle;
class MVBundleRepository;
class MVRegex;
class MVTheme;

// The plain parser of a language: what every "syntax.plist" holds (the
// parser identifier, fold patterns, the texts that open and close the
// language inside another), and the frame the keyword and tag parsers
// build on. It colours nothing itself.
class MVParser : public MVBundleDefinition
{
public:
    // From the dictionary of "syntax.plist" (an empty one leaves all empty).
    MVParser(MVBundle *bundle, const QVariantMap &plist);
    // An empty parser with an identifier.
    MVParser(MVBundle *bundle, const QString &identifier);
    ~MVParser() override;

    // Called once all languages are loaded, so that a parser can find the
    // languages it refers to by identifier.
    virtual void finishLoad(MVBundleRepository &repository);
    virtual void setTheme(const std::shared_ptr<MVTheme> &theme);
    std::shared_ptr<MVTheme> theme() const { return _theme; }

    MVBundle *bundle() const { return _bundle; }
    QString identifier() const { return _identifier; }
    void setIdentifier(const QString &identifier) { _identifier = identifier; }

    const QStringList &openers() const { return _openers; }
    const QStringList &closers() const { return _closers; }

    // Compiled fold patterns (null if absent or not compilable) and their text,
    // which is kept so that a pattern that does not compile is written back.
    std::shared_ptr<MVRegex> foldOpener() const { return _foldOpener; }
    std::shared_ptr<MVRegex> foldCloser() const { return _foldCloser; }
    QString foldOpenerPattern() const { return _foldOpenerPattern; }
    QString foldCloserPattern() const { return _foldCloserPattern; }
    // An empty pattern leaves the current one.
    void setFoldOpener(const QString &pattern);
    void setFoldCloser(const QString &pattern);

    std::shared_ptr<MVBundleDefinition> codeNavParser() const { return _codeNavParser; }
    void setCodeNavParser(std::shared_ptr<MVBundleDefinition> parser) { _codeNavParser = std::move(parser); }

    virtual QVariantMap plistRepresentation() const;
    // Writes the navigator's file first (a failure ends it), then "syntax.plist"
    // in the binary form.
    bool commitToPath(const QString &contentsPath) override;

private:
    MVBundle *_bundle;
    QString _identifier;
    std::shared_ptr<MVTheme> _theme;
    std::shared_ptr<MVBundleDefinition> _codeNavParser;
    std::shared_ptr<MVRegex> _foldOpener;
    std::shared_ptr<MVRegex> _foldCloser;
    QString _foldOpenerPattern;
    QString _foldCloserPattern;
    QStringList _openers;
    QStringList _closers;
};
