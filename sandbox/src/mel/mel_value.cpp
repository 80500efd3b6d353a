#include "mel_text.h"

#include <cmath>
#include <limits>

namespace mel {

value value::from_int(int v)
{
    value r;
    r.kind_ = integer;
    r.int_ = v;
    return r;
}

value value::from_bool(bool v)
{
    value r = from_int(v ? 1 : 0);
    r.boolean_ = true;
    return r;
}

value value::from_float(double v)
{
    value r;
    r.kind_ = number;
    r.float_ = v;
    return r;
}

value value::from_string(const QString& v)
{
    value r;
    r.kind_ = string;
    r.string_ = v;
    return r;
}

value value::from_strings(const QStringList& v)
{
    value r;
    r.kind_ = string_array;
    r.strings_ = v;
    return r;
}

value value::from_ints(const QVector<int>& v)
{
    value r;
    r.kind_ = int_array;
    r.ints_ = v;
    return r;
}

value value::from_floats(const QVector<double>& v)
{
    value r;
    r.kind_ = float_array;
    r.floats_ = v;
    return r;
}

int value::to_int() const
{
    switch (kind_) {
    case integer: return int_;
    case number: return detail::to_int32(float_);
    case string: return detail::to_int32(detail::leading_number(string_));
    default: return 0;
    }
}

double value::to_float() const
{
    switch (kind_) {
    case integer: return int_;
    case number: return float_;
    case string: return detail::leading_number(string_);
    default: return 0.0;
    }
}

QString value::to_string() const
{
    switch (kind_) {
    case none: return QString();
    case integer: return QString::number(int_);
    case number: return detail::format_float(float_);
    case string: return string_;
    default: return result_text();
    }
}

QStringList value::to_strings() const
{
    switch (kind_) {
    case none: return {};
    case string_array: return strings_;
    case int_array: {
        QStringList out;
        out.reserve(ints_.size());
        for (int v : ints_)
            out.append(QString::number(v));
        return out;
    }
    case float_array: {
        QStringList out;
        out.reserve(floats_.size());
        for (double v : floats_)
            out.append(detail::format_float(v));
        return out;
    }
    default: return {to_string()};
    }
}

QVector<int> value::to_ints() const
{
    switch (kind_) {
    case none: return {};
    case int_array: return ints_;
    case float_array: {
        QVector<int> out;
        out.reserve(floats_.size());
        for (double v : floats_)
            out.append(detail::to_int32(v));
        return out;
    }
    case string_array: {
        QVector<int> out;
        out.reserve(strings_.size());
        for (const QString& v : strings_)
            out.append(detail::to_int32(detail::leading_number(v)));
        return out;
    }
    default: return {to_int()};
    }
}

QVector<double> value::to_floats() const
{
    switch (kind_) {
    case none: return {};
    case float_array: return floats_;
    case int_array: {
        QVector<double> out;
        out.reserve(ints_.size());
        for (int v : ints_)
            out.append(v);
        return out;
    }
    case string_array: {
        QVector<double> out;
        out.reserve(strings_.size());
        for (const QString& v : strings_)
            out.append(detail::leading_number(v));
        return out;
    }
    default: return {to_float()};
    }
}

QString value::result_text() const
{
    if (is_array())
        return to_strings().join(QLatin1Char(' '));
    return to_string();
}

bool value::operator==(const value& other) const
{
    if (kind_ != other.kind_)
        return false;
    switch (kind_) {
    case none: return true;
    case integer: return int_ == other.int_;
    case number: return float_ == other.float_;
    case string: return string_ == other.string_;
    case int_array: return ints_ == other.ints_;
    case float_array: return floats_ == other.floats_;
    case string_array: return strings_ == other.strings_;
    }
    return false;
}

namespace detail {

QString format_float(double v)
{
    return QString::number(v, 'g', 10);
}

double leading_number(const QString& text, bool* is_float)
{
    const QChar* s = text.constData();
    const int n = text.size();
    int p = 0;
    while (p < n && s[p].isSpace())
        ++p;
    const int start = p;
    if (p < n && (s[p] == QLatin1Char('-') || s[p] == QLatin1Char('+')))
        ++p;
    int digits = 0;
    while (p < n && s[p].isDigit() && s[p].unicode() < 128) {
        ++p;
        ++digits;
    }
    bool fraction = false;
    if (p < n && s[p] == QLatin1Char('.')) {
        int q = p + 1;
        int more = 0;
        while (q < n && s[q].isDigit() && s[q].unicode() < 128) {
            ++q;
            ++more;
        }
        if (digits + more > 0) {
            fraction = true;
            digits += more;
            p = q;
        }
    }
    if (is_float)
        *is_float = false;
    if (digits == 0)
        return 0.0;
    if (p < n && (s[p] == QLatin1Char('e') || s[p] == QLatin1Char('E'))) {
        int q = p + 1;
        if (q < n && (s[q] == QLatin1Char('-') || s[q] == QLatin1Char('+')))
            ++q;
        if (q < n && s[q].isDigit() && s[q].unicode() < 128) {
            while (q < n && s[q].isDigit() && s[q].unicode() < 128)
                ++q;
            p = q;
            fraction = true;
        }
    }
    if (is_float)
        *is_float = fraction;
    return QStringView(text).mid(start, p - start).toDouble();
}

int to_int32(double v)
{
    if (std::isnan(v))
        return 0;
    if (v >= 2147483647.0)
        return std::numeric_limits<int>::max();
    if (v <= -2147483648.0)
        return std::numeric_limits<int>::min();
    return static_cast<int>(v);
}

int wrap_int32(qint64 v)
{
    return static_cast<int>(static_cast<quint32>(static_cast<quint64>(v)));
}

QString type_name(value::kind k)
{
    switch (k) {
    case value::none: return QStringLiteral("void");
    case value::integer: return QStringLiteral("int");
    case value::number: return QStringLiteral("float");
    case value::string: return QStringLiteral("string");
    case value::int_array: return QStringLiteral("int[]");
    case value::float_array: return QStringLiteral("float[]");
    case value::string_array: return QStringLiteral("string[]");
    }
    return QString();
}

value::kind element_kind(value::kind array)
{
    switch (array) {
    case value::int_array: return value::integer;
    case value::float_array: return value::number;
    case value::string_array: return value::string;
    default: return array;
    }
}

value::kind array_kind(value::kind scalar)
{
    switch (scalar) {
    case value::integer: return value::int_array;
    case value::number: return value::float_array;
    case value::string: return value::string_array;
    default: return scalar;
    }
}

value default_value(value::kind k)
{
    switch (k) {
    case value::integer: return value::from_int(0);
    case value::number: return value::from_float(0.0);
    case value::string: return value::from_string(QString());
    case value::int_array: return value::from_ints({});
    case value::float_array: return value::from_floats({});
    case value::string_array: return value::from_strings({});
    case value::none: break;
    }
    return value();
}

namespace {

// Matches one [...] class at pattern[p] (just past '['); returns the index
// past ']' or -1 when the class is unterminated (then '[' is literal).
int match_class(const QString& pat, int p, QChar c, bool* matched)
{
    const int n = pat.size();
    bool negate = false;
    if (p < n && (pat[p] == QLatin1Char('!') || pat[p] == QLatin1Char('^'))) {
        negate = true;
        ++p;
    }
    bool hit = false;
    bool first = true;
    while (p < n && (first || pat[p] != QLatin1Char(']'))) {
        first = false;
        QChar lo = pat[p];
        if (lo == QLatin1Char('\\') && p + 1 < n)
            lo = pat[++p];
        QChar hi = lo;
        if (p + 2 < n && pat[p + 1] == QLatin1Char('-') && pat[p + 2] != QLatin1Char(']')) {
            hi = pat[p + 2];
            p += 2;
        }
        if (c >= lo && c <= hi)
            hit = true;
        ++p;
    }
    if (p >= n)
        return -1;
    *matched = hit != negate;
    return p + 1;
}

} // namespace

bool glob_match(const QString& text, const QString& pattern)
{
    // Iterative with a single backtrack point for the last '*': linear-ish,
    // no recursion however many stars the pattern has.
    const int tn = text.size();
    const int pn = pattern.size();
    int t = 0;
    int p = 0;
    int star_p = -1;
    int star_t = 0;
    while (t < tn) {
        if (p < pn) {
            const QChar pc = pattern[p];
            if (pc == QLatin1Char('*')) {
                star_p = ++p;
                star_t = t;
                continue;
            }
            if (pc == QLatin1Char('?')) {
                ++p;
                ++t;
                continue;
            }
            if (pc == QLatin1Char('[')) {
                bool matched = false;
                const int next = match_class(pattern, p + 1, text[t], &matched);
                if (next >= 0) {
                    if (matched) {
                        p = next;
                        ++t;
                        continue;
                    }
                } else if (text[t] == pc) {
                    ++p;
                    ++t;
                    continue;
                }
            } else {
                QChar literal = pc;
                int step = 1;
                if (pc == QLatin1Char('\\') && p + 1 < pn) {
                    literal = pattern[p + 1];
                    step = 2;
                }
                if (text[t] == literal) {
                    p += step;
                    ++t;
                    continue;
                }
            }
        }
        if (star_p < 0)
            return false;
        p = star_p;
        t = ++star_t;
    }
    while (p < pn && pattern[p] == QLatin1Char('*'))
        ++p;
    return p == pn;
}

} // namespace detail
} // namespace mel
