#include "search/MVFindBuffer.h"
#include "search/MVSearchController.h"
#include "search/MVSingleFileSearchController.h"

#include "platform/MVMainThread.h"
#include "platform/MVUserDefaults.h"
#include "search/StorageSearchTextView.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

class SearchControllerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        MVUserDefaults &defaults = MVUserDefaults::standard();
        for (const QString &key : {MVSearchController::regularExpressionKey(), MVSearchController::matchCaseKey(),
                                   MVSearchController::searchHistoryKey(), MVSearchController::replaceHistoryKey()})
            defaults.removeObject(key);
        MVFindBuffer::sharedBuffer().setString(QString());
    }

    // A find window on a text, with the search set.
    std::unique_ptr<MVSingleFileSearchController> findWindow(StorageSearchTextView &view, const QString &search,
                                                             bool regex = false)
    {
        auto controller = std::make_unique<MVSingleFileSearchController>();
        controller->setTextView(&view);
        controller->setRegularExpression(regex);
        controller->setSearchString(search);
        return controller;
    }
};

QString selected(const StorageSearchTextView &view)
{
    return view.storage.substring(view.selection);
}

} // namespace

TEST_F(SearchControllerTest, ValidationAndItsMessages)
{
    MVSearchController controller;
    int changes = 0;
    QObject::connect(&controller, &MVSearchController::changed, [&changes] { ++changes; });
    EXPECT_FALSE(controller.isValid()); // empty
    controller.setSearchString(QStringLiteral("a(b"));
    EXPECT_TRUE(controller.isValid());
    // The same text as an expression is invalid and finds nothing.
    controller.setRegularExpression(true);
    EXPECT_FALSE(controller.isValid());
    EXPECT_FALSE(controller.search().matchesString(u"a(b"));
    controller.setSearchString(QStringLiteral("a\\(b"));
    EXPECT_TRUE(controller.isValid());
    EXPECT_TRUE(controller.status().isEmpty());
    EXPECT_GE(changes, 3);

    // The single-file window also needs a text view.
    MVSingleFileSearchController find;
    find.setSearchString(QStringLiteral("x"));
    EXPECT_FALSE(find.isValid());
    StorageSearchTextView view(QStringLiteral("x"));
    find.setTextView(&view);
    EXPECT_TRUE(find.isValid());
    // Commands on input that cannot run do nothing.
    find.setSearchString(QString());
    EXPECT_FALSE(find.next());
    EXPECT_EQ(find.replaceAll(), 0);
    EXPECT_EQ(view.beeps, 0);
}

TEST_F(SearchControllerTest, OptionsPersistAndMakeTheSearch)
{
    {
        MVSearchController controller;
        controller.setRegularExpression(true);
        controller.setMatchCase(true);
    }
    EXPECT_TRUE(MVUserDefaults::standard().boolForKey(QStringLiteral("MVDoGrepKey")));
    EXPECT_TRUE(MVUserDefaults::standard().boolForKey(QStringLiteral("MVDoMatchCaseKey")));

    // A new window starts with the stored options.
    MVSearchController controller;
    controller.setSearchString(QStringLiteral("a+"));
    controller.setReplaceString(QStringLiteral("<$0>"));
    MVSearch search = controller.search();
    EXPECT_EQ(search.replaceString(), QStringLiteral("<$0>"));
    EXPECT_TRUE(search.firstMatchInString(u"AAA").isNotFound());
    EXPECT_EQ(search.firstMatchInString(u"xaa"), MVMakeRange(1, 2));

    controller.setMatchCase(false);
    controller.setRegularExpression(false);
    EXPECT_EQ(controller.search().firstMatchInString(u"xA+"), MVMakeRange(1, 2));
}

TEST_F(SearchControllerTest, WholeWordsMatchOnlyWhereNoWordGoesOn)
{
    MVSearchController controller;
    controller.setWholeWords(true);
    struct Case
    {
        bool regularExpression;
        const char16_t *find;
        const char16_t *replace;
        const char16_t *text;
        const char16_t *replaced;
    };
    const Case cases[] = {
        {false, u"cat", u"dog", u"cat catalog bobcat cat_x cat.", u"dog catalog bobcat cat_x dog."},
        {false, u"café", u"x", u"café cafés (café)", u"x cafés (x)"},
        // Search text that starts or ends with no word character, and a
        // replacement whose markers stay plain text.
        {false, u"a.b(", u"$1(\\", u"a.b( xa.b(", u"$1(\\ xa.b("},
        {true, u"ca|dog", u"<$0>", u"ca cat dog dogs", u"<ca> cat <dog> dogs"},
    };
    for (const Case &c : cases) {
        controller.setRegularExpression(c.regularExpression);
        controller.setSearchString(QString::fromUtf16(c.find));
        controller.setReplaceString(QString::fromUtf16(c.replace));
        ASSERT_TRUE(controller.isValid()) << QString::fromUtf16(c.find).toStdString();
        QString text = QString::fromUtf16(c.text);
        controller.search().replaceAllInString(text);
        EXPECT_EQ(text, QString::fromUtf16(c.replaced)) << QString::fromUtf16(c.find).toStdString();
    }
    controller.setWholeWords(false);
    controller.setRegularExpression(false);
    controller.setSearchString(QStringLiteral("cat"));
    EXPECT_EQ(controller.search().findAllForString(QStringLiteral("bobcat cat")).size(), 2u);
}

TEST_F(SearchControllerTest, HistoriesKeepTenDistinctEntriesNewestFirst)
{
    MVSearchController controller;
    for (int i = 1; i <= 11; ++i) {
        controller.setSearchString(QStringLiteral("search %1").arg(i));
        controller.rememberSearch();
    }
    QStringList searches = MVSearchController::searchHistory();
    ASSERT_EQ(searches.size(), 10);
    EXPECT_EQ(searches.first(), QStringLiteral("search 11"));
    EXPECT_EQ(searches.last(), QStringLiteral("search 2")); // the oldest went

    // Repeating an entry moves it to the front instead of doubling it.
    controller.setSearchString(QStringLiteral("search 5"));
    controller.rememberSearch();
    searches = MVSearchController::searchHistory();
    EXPECT_EQ(searches.size(), 10);
    EXPECT_EQ(searches.first(), QStringLiteral("search 5"));
    EXPECT_EQ(searches.count(QStringLiteral("search 5")), 1);

    // The replace text is remembered on its own, an empty one too.
    EXPECT_EQ(MVSearchController::replaceHistory(), QStringList{QString()});
    controller.setReplaceString(QStringLiteral("with"));
    controller.rememberSearch();
    EXPECT_EQ(MVSearchController::replaceHistory(), (QStringList{QStringLiteral("with"), QString()}));
}

TEST_F(SearchControllerTest, FindBufferAndUseSelectionForFind)
{
    MVSearchController early;
    early.setRegularExpression(true);
    early.setSearchString(QStringLiteral("x+"));

    StorageSearchTextView view(QStringLiteral("one [two] three"));
    view.selection = {4, 5};
    MVSingleFileSearchController find;
    find.setTextView(&view);
    find.findUsingSelection();

    // Every window takes the text as a plain search.
    EXPECT_EQ(MVFindBuffer::sharedBuffer().string(), QStringLiteral("[two]"));
    EXPECT_EQ(early.searchString(), QStringLiteral("[two]"));
    EXPECT_FALSE(early.regularExpression());
    EXPECT_EQ(find.searchString(), QStringLiteral("[two]"));

    // A window made later takes the buffer at creation ...
    MVSearchController later;
    EXPECT_EQ(later.searchString(), QStringLiteral("[two]"));
    // ... but not again once the user typed something else.
    later.setSearchString(QStringLiteral("typed"));
    later.takeFindBufferString();
    EXPECT_EQ(later.searchString(), QStringLiteral("typed"));
    // The notification without a text changes nothing.
    MVNotificationCenter::defaultCenter().post(MVSearchController::setSearchStringNotification());
    EXPECT_EQ(later.searchString(), QStringLiteral("typed"));
}

TEST_F(SearchControllerTest, NextAndPreviousWrapAndSayWhenNothingIsFound)
{
    StorageSearchTextView view(QStringLiteral("cat dog cat bird cat"));
    auto find = findWindow(view, QStringLiteral("CAT"));
    view.selection = {5, 0};
    EXPECT_TRUE(find->next());
    EXPECT_EQ(view.selection, MVMakeRange(8, 3));
    EXPECT_TRUE(find->next());
    EXPECT_EQ(view.selection, MVMakeRange(17, 3));
    EXPECT_TRUE(find->next()); // wraps
    EXPECT_EQ(view.selection, MVMakeRange(0, 3));
    EXPECT_TRUE(find->previous()); // wraps backwards
    EXPECT_EQ(view.selection, MVMakeRange(17, 3));
    EXPECT_TRUE(find->previous());
    EXPECT_EQ(view.selection, MVMakeRange(8, 3));
    EXPECT_EQ(MVSearchController::searchHistory().first(), QStringLiteral("CAT"));

    find->setMatchCase(true);
    EXPECT_FALSE(find->next());
    EXPECT_EQ(view.beeps, 1);
    EXPECT_EQ(find->status(), QStringLiteral("Not found"));
    EXPECT_EQ(view.selection, MVMakeRange(8, 3));
    find->setMatchCase(false);
    EXPECT_TRUE(find->next());
    EXPECT_TRUE(find->status().isEmpty());

    // With a regular expression, previous from the end gives the first match
    // of the text before the selection.
    auto regex = findWindow(view, QStringLiteral("c\\w+"), true);
    view.selection = {20, 0};
    EXPECT_TRUE(regex->previous());
    EXPECT_EQ(view.selection, MVMakeRange(0, 3));

    StorageSearchTextView empty;
    auto none = findWindow(empty, QStringLiteral("x"));
    EXPECT_FALSE(none->next());
    EXPECT_FALSE(none->previous());
}

TEST_F(SearchControllerTest, FoldedTextIsSearchedWhenTheSearchWraps)
{
    StorageSearchTextView view(QStringLiteral("head {hidden needle} middle needle tail"));
    view.fold({5, 15}); // "{hidden needle}" is now one character at 5
    ASSERT_EQ(view.string(), QStringLiteral("head \uFFFC middle needle tail"));
    auto find = findWindow(view, QStringLiteral("needle"));

    // Forward from the start: the visible match, folded text not looked at.
    view.selection = {0, 0};
    EXPECT_TRUE(find->next());
    EXPECT_EQ(view.selection, MVMakeRange(14, 6));
    // Past it the search wraps, and the fold before the wrapped match is
    // opened at its match.
    EXPECT_TRUE(find->next());
    EXPECT_EQ(view.string(), QStringLiteral("head {hidden needle} middle needle tail"));
    EXPECT_EQ(view.selection, MVMakeRange(13, 6));
    EXPECT_EQ(selected(view), QStringLiteral("needle"));

    // A fold without a match before the wrapped match ends the search: the
    // hidden text comes first in the text and has nothing.
    StorageSearchTextView other(QStringLiteral("{nothing} needle"));
    other.fold({0, 9});
    auto again = findWindow(other, QStringLiteral("needle"));
    other.selection = {other.storage.length(), 0};
    EXPECT_FALSE(again->next());

    // Backwards: a match before the last fold before the selection looks
    // into the fold first.
    StorageSearchTextView back(QStringLiteral("needle {a needle} end"));
    back.fold({7, 10});
    auto previous = findWindow(back, QStringLiteral("needle"));
    back.selection = {back.storage.length(), 0};
    EXPECT_TRUE(previous->previous());
    EXPECT_EQ(back.string(), QStringLiteral("needle {a needle} end"));
    EXPECT_EQ(back.selection, MVMakeRange(10, 6));
}

TEST_F(SearchControllerTest, ReplaceAndFindReplacesOnlyASelectionThatIsOneMatch)
{
    StorageSearchTextView view(QStringLiteral("width: 10px; height: 20px; margin: 3em"));
    auto find = findWindow(view, QStringLiteral("(\\d+)px"), true);
    find->setReplaceString(QStringLiteral("$1em"));

    // Not a match: only moves on.
    view.selection = {0, 5};
    EXPECT_TRUE(find->replaceAndFind());
    EXPECT_EQ(view.string(), QStringLiteral("width: 10px; height: 20px; margin: 3em"));
    EXPECT_EQ(selected(view), QStringLiteral("10px"));
    EXPECT_FALSE(view.undo.canUndo());

    // One match: replaced as one step, then the next one is selected.
    EXPECT_TRUE(find->replaceAndFind());
    EXPECT_EQ(view.string(), QStringLiteral("width: 10em; height: 20px; margin: 3em"));
    EXPECT_EQ(selected(view), QStringLiteral("20px"));
    EXPECT_EQ(view.undo.undoActionName(), QStringLiteral("Replace"));

    // A selection that holds a match among other text stays as it is.
    view.selection = {13, 14};
    ASSERT_EQ(selected(view), QStringLiteral("height: 20px; "));
    EXPECT_FALSE(find->replaceAndFind()); // and no other match outside it
    EXPECT_EQ(view.string(), QStringLiteral("width: 10em; height: 20px; margin: 3em"));
    EXPECT_EQ(view.beeps, 1);

    view.undo.undo();
    EXPECT_EQ(view.string(), QStringLiteral("width: 10px; height: 20px; margin: 3em"));
}

TEST_F(SearchControllerTest, ReplaceAllIsOneUndoStep)
{
    StorageSearchTextView view(QStringLiteral("a1 b22 c333 d"));
    auto find = findWindow(view, QStringLiteral("\\d+"), true);
    find->setReplaceString(QStringLiteral("<$0>"));
    EXPECT_EQ(find->replaceAll(), 3);
    EXPECT_EQ(view.string(), QStringLiteral("a<1> b<22> c<333> d"));
    view.undo.undo();
    EXPECT_FALSE(view.undo.canUndo());

    // Nothing to replace: no step, and the count is still told.
    find->setSearchString(QStringLiteral("z+"));
    EXPECT_EQ(find->replaceAll(), 0);
    EXPECT_EQ(find->status(), QStringLiteral("Replaced 0"));
    EXPECT_FALSE(view.undo.canUndo());

    // Folded text counts: Replace All works on the full text.
    StorageSearchTextView folded(QStringLiteral("x {x x} x"));
    folded.fold({2, 5});
    auto all = findWindow(folded, QStringLiteral("x"));
    all->setReplaceString(QStringLiteral("y"));
    EXPECT_EQ(all->replaceAll(), 4);
    EXPECT_EQ(folded.string(), QStringLiteral("y {y y} y"));

    // In the selection only, which then covers the new text.
    StorageSearchTextView part(QStringLiteral("a a [a a] a"));
    auto inSelection = findWindow(part, QStringLiteral("a"));
    inSelection->setReplaceString(QStringLiteral("bb"));
    inSelection->setScope(1);
    part.selection = {4, 5};
    EXPECT_EQ(inSelection->replaceAll(), 2);
    EXPECT_EQ(part.string(), QStringLiteral("a a [bb bb] a"));
    EXPECT_EQ(selected(part), QStringLiteral("[bb bb]"));
    EXPECT_EQ(part.undo.undoActionName(), QStringLiteral("Replace All in Selection"));
}

TEST_F(SearchControllerTest, FollowsTheNextTextViewWhenItsViewCloses)
{
    StorageSearchTextView first(QStringLiteral("one")), second(QStringLiteral("two"));
    MVSingleFileSearchController find;
    find.setSearchString(QStringLiteral("o"));
    find.setTextView(&first);
    find.setTextViewProvider([&](const void *closing) -> MVSearchTextView * {
        return closing == &first ? &second : nullptr;
    });

    // Another view closing changes nothing.
    MVNotificationCenter::defaultCenter().post(MVSingleFileSearchController::textViewIsClosingNotification(), &second);
    EXPECT_EQ(find.textView(), &first);
    MVNotificationCenter::defaultCenter().post(MVSingleFileSearchController::textViewIsClosingNotification(), &first);
    EXPECT_EQ(find.textView(), &second);
    EXPECT_TRUE(find.isValid());
    MVNotificationCenter::defaultCenter().post(MVSingleFileSearchController::textViewIsClosingNotification(), &second);
    EXPECT_EQ(find.textView(), nullptr);
    EXPECT_FALSE(find.isValid());
    EXPECT_FALSE(find.next());
}

TEST_F(SearchControllerTest, AWorkerSearchesAViewsFullTextFetchedOnTheMainThread)
{
    StorageSearchTextView view(QStringLiteral("a {b a} a"));
    view.fold({2, 5});
    const MVSearch search = MVSearch::initWithSearchString(QStringLiteral("a"));
    std::vector<MVRange> found;
    std::atomic<bool> done = false;
    std::thread worker([&] {
        found = search.findAllForTextView(view);
        done = true;
    });
    while (!done)
        MVMainThread::processPending();
    worker.join();
    EXPECT_EQ(found, (std::vector<MVRange>{{0, 1}, {5, 1}, {8, 1}}));
    EXPECT_EQ(search.findAllForTextViewAsResults(view).size(), 3u);
}

TEST_F(SearchControllerTest, QuickSearchIsPlainCaselessAndKeepsTheSelectionWhenNothingIsFound)
{
    StorageSearchTextView view(QStringLiteral("Foo.bar(foo) FOO.baz"));
    view.selection = {3, 0};
    // Typing a word letter by letter keeps the match where it started.
    EXPECT_FALSE(view.quickSearch(QStringLiteral("f"), false));
    EXPECT_EQ(view.selection, MVMakeRange(8, 1));
    EXPECT_FALSE(view.quickSearch(QStringLiteral("fo"), false));
    EXPECT_EQ(view.selection, MVMakeRange(8, 2));
    // Characters of expressions are plain text here.
    EXPECT_FALSE(view.quickSearch(QStringLiteral("foo.b"), false));
    EXPECT_EQ(view.selection, MVMakeRange(13, 5));
    EXPECT_FALSE(view.quickSearchAgain(QStringLiteral("foo"), false));
    EXPECT_EQ(view.selection, MVMakeRange(0, 3)); // wrapped
    EXPECT_FALSE(view.quickSearchAgain(QStringLiteral("foo"), true));
    EXPECT_EQ(view.selection, MVMakeRange(13, 3)); // backwards, wrapped

    const auto missing = view.quickSearchAgain(QStringLiteral("qux"), false);
    ASSERT_TRUE(missing);
    EXPECT_EQ(missing->code(), 8);
    EXPECT_EQ(missing->localizedDescription(), QStringLiteral("No more matches"));
    EXPECT_EQ(view.selection, MVMakeRange(13, 3));
    EXPECT_EQ(view.beeps, 1);
    view.selection = {2, 0};
    EXPECT_EQ(view.quickSearch(QStringLiteral("qux"), false)->localizedDescription(), QStringLiteral("No match"));
    EXPECT_EQ(view.selection, MVMakeRange(2, 0));
    EXPECT_FALSE(view.quickSearch(QString(), false));
    EXPECT_EQ(view.beeps, 2);
}
