#pragma once

#include "platform/MVNotificationCenter.h"
#include "search/MVSearch.h"

#include <QObject>
#include <QString>
#include <QStringList>

// The state and rules of a find window, without the window: the find and
// replace fields, the options, whether the input can run, the message
// line, the histories and the find buffer.
class MVSearchController : public QObject
{
    Q_OBJECT
public:
    // Posted with the text under the user-info key "string" (Use Selection
    // for Find); every find window takes it as a plain search.
    static QString setSearchStringNotification() { return QStringLiteral("MVSetSearchString"); }
    static QString setSearchStringKey() { return QStringLiteral("string"); }
    // Preference keys.
    static QString regularExpressionKey() { return QStringLiteral("MVDoGrepKey"); }
    static QString matchCaseKey() { return QStringLiteral("MVDoMatchCaseKey"); }
    static QString searchHistoryKey() { return QStringLiteral("MVSearchHistory"); }
    static QString replaceHistoryKey() { return QStringLiteral("MVReplaceHistory"); }
    static constexpr int HistoryLength = 10;
    // The multi-line input panel edits the find field for this tag, the
    // replace field for any other.
    static constexpr int SearchFieldTag = 10;

    explicit MVSearchController(QObject *parent = nullptr);
    ~MVSearchController() override;

    QString searchString() const { return _searchString; }
    void setSearchString(const QString &string);
    QString replaceString() const { return _replaceString; }
    void setReplaceString(const QString &string);
    bool regularExpression() const { return _regularExpression; }
    void setRegularExpression(bool on);
    bool matchCase() const { return _matchCase; }
    void setMatchCase(bool on);
    // Matches only where neither end touches a letter, a digit or "_";
    // with a regular expression, around the whole pattern.
    bool wholeWords() const { return _wholeWords; }
    void setWholeWords(bool on);
    bool isValid() const { return _valid; }
    // The message line; empty when there is nothing to say.
    QString status() const { return _status; }
    void setStatus(const QString &status);

    // A new search from the fields.
    MVSearch search() const;
    // Fills the fields from a search.
    void setSearch(const MVSearch &search);

    // Puts the search text and the replace text at the front of their
    // histories.
    void rememberSearch();
    static QStringList searchHistory();
    static QStringList replaceHistory();

    // Decides whether the input can run and says why not; runs after every
    // change of the fields.
    virtual void validate();

    // The multi-line input panel: asks the window to show it for a field
    // (see SearchFieldTag); the panel answers with its text, code 1 meaning
    // accepted.
    void showExtendedInput(int tag);
    int extendedInputTag() const { return _extendedInputTag; }
    void extendedOutputFinishedWithReturnCode(const QString &output, int returnCode);

    // Takes the find buffer's text when it is new: at creation and whenever
    // the application becomes active.
    void takeFindBufferString();

    // Use Selection for Find: fills the find buffer and tells every find
    // window.
    static void findUsingSelectionText(const QString &text);

signals:
    // Any field, option, validity or message changed.
    void changed();
    void extendedInputRequested(int tag, const QString &input);

protected:
    // Whether the window can run at all, apart from its input.
    virtual bool _canRun() const { return true; }
    void _changed();

private:
    void _takeSearchString(const QString &text);
    static void _remember(const QString &key, const QString &text);

    QString _searchString;
    QString _replaceString;
    bool _regularExpression = false;
    bool _matchCase = false;
    bool _wholeWords = false;
    int _extendedInputTag = SearchFieldTag;
    bool _valid = false;
    QString _status;
    QString _lastFindBufferString;
    MVObservation _setSearchStringObservation;
};
