#include "files/MVFileFilter.h"

#include "search/MVRegex.h"

namespace {

const QString TitleKey = QStringLiteral("Title");
const QString RegexKey = QStringLiteral("Regex");
const QString EnabledKey = QStringLiteral("Enabled");

// Caseless, UTF-8: names are matched without regard to case.
constexpr quint32 FilterOptions = MVRegex::CaselessOption | MVRegex::UTF8Option;

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

} // namespace

MVFileFilter::MVFileFilter() : _title(QStringLiteral("New Filter"))
{
    _validateLocked();
}

MVFileFilter::MVFileFilter(const QString &pattern) : _pattern(pattern)
{
    _validateLocked();
}

std::shared_ptr<MVFileFilter> MVFileFilter::filterWithPattern(const QString &pattern)
{
    return std::make_shared<MVFileFilter>(pattern);
}

std::shared_ptr<MVFileFilter> MVFileFilter::filterWithPlist(const QVariantMap &plist)
{
    auto filter = std::make_shared<MVFileFilter>();
    const QVariant title = plist.value(TitleKey);
    filter->_title = title.typeId() == QMetaType::QString ? title.toString() : QString();
    const QVariant pattern = plist.value(RegexKey);
    filter->_pattern = pattern.typeId() == QMetaType::QString ? pattern.toString() : QString();
    const QVariant enabled = plist.value(EnabledKey);
    filter->_enabled = isNumber(enabled) && enabled.toDouble() != 0;
    filter->_validateLocked();
    return filter;
}

std::shared_ptr<MVFileFilter> MVFileFilter::copy() const
{
    std::lock_guard lock(_mutex);
    auto filter = std::make_shared<MVFileFilter>(_pattern);
    filter->_title = _title;
    filter->_enabled = _enabled;
    filter->_valid = _valid;
    filter->_modified = _modified;
    return filter;
}

QVariantMap MVFileFilter::plistRepresentation() const
{
    std::lock_guard lock(_mutex);
    QVariantMap plist;
    if (!_title.isNull())
        plist.insert(TitleKey, _title);
    if (!_pattern.isNull())
        plist.insert(RegexKey, _pattern);
    plist.insert(EnabledKey, _enabled);
    return plist;
}

bool MVFileFilter::matchesString(const QString &string) const
{
    std::shared_ptr<MVRegex> regex;
    {
        std::lock_guard lock(_mutex);
        if (!_enabled || _pattern.isEmpty())
            return false;
        if (!_compiled) {
            _compiled = true;
            _regex = MVRegex::initWithPattern(_pattern, FilterOptions);
        }
        regex = _regex;
    }
    // A compiled pattern may be matched by several threads at once.
    return regex && regex->copyMatchForString(string).has_value();
}

QString MVFileFilter::title() const
{
    std::lock_guard lock(_mutex);
    return _title;
}

QString MVFileFilter::pattern() const
{
    std::lock_guard lock(_mutex);
    return _pattern;
}

bool MVFileFilter::enabled() const
{
    std::lock_guard lock(_mutex);
    return _enabled;
}

bool MVFileFilter::valid() const
{
    std::lock_guard lock(_mutex);
    return _valid;
}

bool MVFileFilter::modified() const
{
    std::lock_guard lock(_mutex);
    return _modified;
}

void MVFileFilter::setTitle(const QString &title)
{
    std::lock_guard lock(_mutex);
    _title = title;
    _modified = true;
    _validateLocked();
}

void MVFileFilter::setPattern(const QString &pattern)
{
    std::lock_guard lock(_mutex);
    _pattern = pattern;
    _regex.reset();
    _compiled = false;
    _modified = true;
    _validateLocked();
}

void MVFileFilter::setEnabled(bool enabled)
{
    std::lock_guard lock(_mutex);
    _enabled = enabled;
    _modified = true;
    _validateLocked();
}

void MVFileFilter::setModified(bool modified)
{
    std::lock_guard lock(_mutex);
    _modified = modified;
}

void MVFileFilter::validate()
{
    std::lock_guard lock(_mutex);
    _validateLocked();
}

void MVFileFilter::_validateLocked()
{
    if (_title.isEmpty())
        _valid = false;
    else if (_pattern.isEmpty())
        _valid = true;
    else
        _valid = MVRegex::validPattern(_pattern);
}
