// The commands MEL itself provides; host commands come through register_command.
#include "mel_runtime.h"

namespace mel::detail {

void call_context::fail(const QString& message) const
{
    rt.fail(call.line, message);
}

QString call_context::text(int i) const
{
    const value& v = args[i];
    if (v.is_array())
        fail(QStringLiteral("Cannot convert data of type %1 to type string.").arg(type_name(v.type())));
    return v.to_string();
}

int call_context::integer(int i) const
{
    const value& v = args[i];
    if (v.is_array())
        fail(QStringLiteral("Cannot convert data of type %1 to type int.").arg(type_name(v.type())));
    return v.to_int();
}

QStringList call_context::strings(int i) const
{
    const value& v = args[i];
    if (!v.is_array())
        fail(QStringLiteral("%1: argument %2 must be an array.").arg(call.name).arg(i + 1));
    return v.to_strings();
}

var_ptr call_context::array_ref(int i) const
{
    const var_ptr& v = refs[size_t(i)];
    if (!v || !is_array_kind(v->type))
        fail(QStringLiteral("%1: argument %2 must be an array variable.").arg(call.name).arg(i + 1));
    return v;
}

namespace {

value b_size(call_context& c)
{
    const value& v = c.args[0];
    switch (v.type()) {
    case value::none: return value::from_int(0);
    case value::int_array: return value::from_int(v.to_ints().size());
    case value::float_array: return value::from_int(v.to_floats().size());
    case value::string_array: return value::from_int(v.to_strings().size());
    default: return value::from_int(v.to_string().size());
    }
}

value b_print(call_context& c)
{
    const value& v = c.args[0];
    if (v.is_array()) {
        QString out;
        const QStringList items = v.to_strings();
        for (const QString& s : items)
            out += s + QLatin1Char('\n');
        c.rt.print(out);
    } else {
        c.rt.print(v.to_string());
    }
    return value();
}

value b_error(call_context& c)
{
    c.fail(c.text(0));
}

value b_warning(call_context& c)
{
    c.rt.warn(c.call.line, c.text(0));
    return value();
}

value b_match(call_context& c)
{
    const QRegularExpressionMatch m = c.rt.regex(c.text(0), c.call.line).match(c.text(1));
    return value::from_string(m.hasMatch() ? m.captured(0) : QString());
}

value b_gmatch(call_context& c)
{
    return value::from_int(glob_match(c.text(0), c.text(1)) ? 1 : 0);
}

value b_substitute(call_context& c)
{
    const QString s = c.text(1);
    const QRegularExpressionMatch m = c.rt.regex(c.text(0), c.call.line).match(s);
    if (!m.hasMatch())
        return value::from_string(s);
    return value::from_string(s.left(m.capturedStart()) + c.text(2) + s.mid(m.capturedEnd()));
}

value b_substitute_all_string(call_context& c)
{
    QString s = c.text(0);
    const QString search = c.text(1);
    if (!search.isEmpty())
        s.replace(search, c.text(2));
    return value::from_string(s);
}

QStringList split_any(const QString& s, const QString& separators)
{
    QStringList out;
    int start = -1;
    for (int i = 0; i <= s.size(); ++i) {
        const bool sep = i == s.size() || separators.contains(s[i]);
        if (sep && start >= 0) {
            out.append(s.mid(start, i - start));
            start = -1;
        } else if (!sep && start < 0) {
            start = i;
        }
    }
    return out;
}

value b_tokenize(call_context& c)
{
    const int last = c.args.size() - 1;
    const var_ptr target = c.array_ref(last);
    const QString separators = last == 2 ? c.text(1) : QStringLiteral(" \t\n");
    const QStringList parts = split_any(c.text(0), separators);
    target->set(value::from_strings(parts)); // set() converts to the array's own type
    return value::from_int(parts.size());
}

value b_string_to_string_array(call_context& c)
{
    return value::from_strings(split_any(c.text(0), c.text(1)));
}

value b_string_array_to_string(call_context& c)
{
    return value::from_string(c.strings(0).join(c.text(1)));
}

value b_strip(call_context& c)
{
    return value::from_string(c.text(0).trimmed());
}

value b_substring(call_context& c)
{
    const QString s = c.text(0);
    const int from = qMax(1, c.integer(1));
    const int to = qMin(s.size(), c.integer(2));
    return value::from_string(to < from ? QString() : s.mid(from - 1, to - from + 1));
}

value b_toupper(call_context& c) { return value::from_string(c.text(0).toUpper()); }
value b_tolower(call_context& c) { return value::from_string(c.text(0).toLower()); }
value b_starts_with(call_context& c) { return value::from_int(c.text(0).startsWith(c.text(1)) ? 1 : 0); }
value b_ends_with(call_context& c) { return value::from_int(c.text(0).endsWith(c.text(1)) ? 1 : 0); }

value b_string_array_contains(call_context& c)
{
    return value::from_int(c.strings(1).contains(c.text(0)) ? 1 : 0);
}

value b_eval(call_context& c)
{
    // Like Maya, several arguments are joined with blanks into one command.
    QStringList parts;
    for (int i = 0; i < c.args.size(); ++i)
        parts.append(c.text(i));
    return c.rt.run_nested(parts.join(QLatin1Char(' ')), c.call.line);
}

value b_clear(call_context& c)
{
    c.array_ref(0)->resize(0);
    return value();
}

value b_exists(call_context& c)
{
    return value::from_int(c.rt.exists(c.text(0), c.f) ? 1 : 0);
}

} // namespace

void register_builtins(runtime& rt)
{
    auto add = [&](const char* name, value (*fn)(call_context&), int min_args, int max_args) {
        rt.builtins.insert(QLatin1String(name), builtin{fn, min_args, max_args});
    };
    add("size", b_size, 1, 1);
    add("print", b_print, 1, 1);
    add("error", b_error, 1, 1);
    add("warning", b_warning, 1, 1);
    add("match", b_match, 2, 2);
    add("gmatch", b_gmatch, 2, 2);
    add("substitute", b_substitute, 3, 3);
    add("substituteAllString", b_substitute_all_string, 3, 3);
    add("tokenize", b_tokenize, 2, 3);
    add("stringToStringArray", b_string_to_string_array, 2, 2);
    add("stringArrayToString", b_string_array_to_string, 2, 2);
    add("strip", b_strip, 1, 1);
    add("substring", b_substring, 3, 3);
    add("toupper", b_toupper, 1, 1);
    add("tolower", b_tolower, 1, 1);
    add("startsWith", b_starts_with, 2, 2);
    add("endsWith", b_ends_with, 2, 2);
    add("stringArrayContains", b_string_array_contains, 2, 2);
    add("eval", b_eval, 1, 64);
    add("clear", b_clear, 1, 1);
    add("exists", b_exists, 1, 1);
}

} // namespace mel::detail
