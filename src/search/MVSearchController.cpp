#include "search/MVSearchController.h"

#include <QRegularExpression>

#include "platform/MVStringTable.h"
#include "platform/MVUserDefaults.h"
#include "search/MVFindBuffer.h"

#include <QGuiApplication>

MVSearchController::MVSearchController(QObject *parent) : QObject(parent)
{
    MVUserDefaults &defaults = MVUserDefaults::standard();
    _regularExpression = defaults.boolForKey(regularExpressionKey());
    _matchCase = defaults.boolForKey(matchCaseKey());

    _setSearchStringObservation = MVObservation(setSearchStringNotification(), nullptr,
                                                [this](const MVNotification &notification) {
        const QVariant text = notification.userInfo.value(setSearchStringKey());
        if (text.isValid() && !text.isNull())
            _takeSearchString(text.toString());
    });
    if (qGuiApp) {
        connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
            if (state == Qt::ApplicationActive)
                takeFindBufferString();
        });
    }
    takeFindBufferString();
    validate();
}

MVSearchController::~MVSearchController() = default;

void MVSearchController::setSearchString(const QString &string)
{
    if (string == _searchString)
        return;
    _searchString = string;
    validate();
}

void MVSearchController::setReplaceString(const QString &string)
{
    if (string == _replaceString)
        return;
    _replaceString = string;
    validate();
}

void MVSearchController::setRegularExpression(bool on)
{
    if (on == _regularExpression)
        return;
    _regularExpression = on;
    MVUserDefaults::standard().setBool(regularExpressionKey(), on);
    validate();
}

void MVSearchController::setMatchCase(bool on)
{
    if (on == _matchCase)
        return;
    _matchCase = on;
    MVUserDefaults::standard().setBool(matchCaseKey(), on);
    validate();
}

void MVSearchController::setStatus(const QString &status)
{
    if (status == _status)
        return;
    _status = status;
    _changed();
}

void MVSearchController::_changed()
{
    emit changed();
}

void MVSearchController::setWholeWords(bool on)
{
    if (on == _wholeWords)
        return;
    _wholeWords = on;
    validate();
}

namespace {

// The replacement text with the template markers kept as text.
QString literalTemplate(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        if (c == u'$' || c == u'(' || c == u'\\')
            result += u'\\';
        result += c;
    }
    return result;
}

} // namespace

MVSearch MVSearchController::search() const
{
    MVSearch search;
    if (_wholeWords && !_searchString.isEmpty()) {
        // A word boundary at both ends, whatever the characters at the ends
        // of the search text are.
        const QString wordCharacter = QStringLiteral("[\\p{L}\\p{N}_]");
        const QString inner = _regularExpression ? QStringLiteral("(?:%1)").arg(_searchString)
                                                 : QRegularExpression::escape(_searchString);
        search = MVSearch::initWithExpressionString(
            QStringLiteral("(?<!%1)%2(?!%1)").arg(wordCharacter, inner), _matchCase);
        search.setReplaceString(_regularExpression ? _replaceString : literalTemplate(_replaceString));
        return search;
    }
    if (_regularExpression) {
        search = MVSearch::initWithExpressionString(_searchString, _matchCase);
    } else {
        search = MVSearch::initWithSearchString(_searchString);
        search.setCaseSensitive(_matchCase);
    }
    search.setReplaceString(_replaceString);
    return search;
}

void MVSearchController::setSearch(const MVSearch &search)
{
    _searchString = search.searchString();
    _replaceString = search.replaceString();
    _matchCase = search.caseSensitive();
    _regularExpression = search.isRegularExpression();
    MVUserDefaults::standard().setBool(regularExpressionKey(), _regularExpression);
    MVUserDefaults::standard().setBool(matchCaseKey(), _matchCase);
    validate();
}

void MVSearchController::_remember(const QString &key, const QString &text)
{
    MVUserDefaults &defaults = MVUserDefaults::standard();
    const QString entry = text.isNull() ? QStringLiteral("") : text;
    QVariantList list = defaults.arrayForKey(key);
    list.removeIf([&entry](const QVariant &value) { return value.toString() == entry; });
    list.prepend(entry);
    while (list.size() > HistoryLength)
        list.removeLast();
    defaults.setObject(key, list);
}

void MVSearchController::rememberSearch()
{
    _remember(searchHistoryKey(), _searchString);
    _remember(replaceHistoryKey(), _replaceString);
}

static QStringList history(const QString &key)
{
    QStringList result;
    for (const QVariant &value : MVUserDefaults::standard().arrayForKey(key))
        if (value.typeId() == QMetaType::QString)
            result.append(value.toString());
    return result;
}

QStringList MVSearchController::searchHistory()
{
    return history(searchHistoryKey());
}

QStringList MVSearchController::replaceHistory()
{
    return history(replaceHistoryKey());
}

void MVSearchController::validate()
{
    const bool wasValid = _valid;
    bool valid = !_searchString.isEmpty();
    if (valid && _regularExpression && !MVSearch::validRegexSearch(_searchString)) {
        valid = false;
        _status = MVLocalizedString(QStringLiteral("Invalid search regular expression"));
    } else if (valid && _regularExpression && !MVSearch::validRegexReplace(_replaceString)) {
        valid = false;
        _status = MVLocalizedString(QStringLiteral("Invalid replace regular expression"));
    }
    valid = valid && _canRun();
    if (valid && !wasValid)
        _status.clear();
    _valid = valid;
    _changed();
}

void MVSearchController::showExtendedInput(int tag)
{
    _extendedInputTag = tag;
    emit extendedInputRequested(tag, tag == SearchFieldTag ? _searchString : _replaceString);
}

void MVSearchController::extendedOutputFinishedWithReturnCode(const QString &output, int returnCode)
{
    if (returnCode != 1)
        return;
    if (_extendedInputTag == SearchFieldTag)
        setSearchString(output);
    else
        setReplaceString(output);
}

void MVSearchController::takeFindBufferString()
{
    const QString text = MVFindBuffer::sharedBuffer().string();
    if (text.isEmpty() || text == _lastFindBufferString)
        return;
    _lastFindBufferString = text;
    _takeSearchString(text);
}

void MVSearchController::_takeSearchString(const QString &text)
{
    _regularExpression = false;
    MVUserDefaults::standard().setBool(regularExpressionKey(), false);
    _searchString = text;
    validate();
}

void MVSearchController::findUsingSelectionText(const QString &text)
{
    MVFindBuffer::sharedBuffer().setString(text);
    MVNotificationCenter::defaultCenter().post(setSearchStringNotification(), nullptr,
                                               {{setSearchStringKey(), text}});
}
