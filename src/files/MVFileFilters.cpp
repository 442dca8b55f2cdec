#include "files/MVFileFilters.h"

MVFileFilters &MVFileFilters::sharedFilters()
{
    static MVFileFilters filters;
    return filters;
}

MVFileFilters::MVFileFilters()
{
    static const char *const patterns[] = {
        R"((\.DS_Store$)|(\.Morvel$)|(\.mvproj$)|(\.tmp_Morvel))",
        R"((\.svn$)|(\.git$)|(CVS$)|(\.gitignore)|(\.cvsignore))",
    };
    for (const char *pattern : patterns) {
        QRegularExpression expression(QString::fromLatin1(pattern), QRegularExpression::CaseInsensitiveOption);
        expression.optimize();
        _defaultFilters.push_back(std::move(expression));
    }
}

bool MVFileFilters::stringMatchesFilters(const QString &name) const
{
    std::lock_guard lock(_mutex);
    for (const QRegularExpression &filter : _defaultFilters) {
        if (filter.match(name).hasMatch())
            return true;
    }
    return false;
}
