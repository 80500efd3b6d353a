#include "model/object_names.h"

#include <QRegularExpression>
#include <QVector>

#include <algorithm>

bool is_name_char(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
}

int node_end(const QString& name)
{
    for (int i = 0; i < name.size(); ++i)
        if (name[i] == '.' || name[i] == '[')
            return i;
    return name.size();
}

namespace {

bool is_word_char(QChar c)
{
    return is_name_char(c) || c == ':' || c == '|' || c == '.';
}

} // namespace

QString map_script_words(const QString& script, const std::function<QString(const QString&)>& map)
{
    // Streams tell an empty script from none: either stays as it is.
    if (script.isEmpty())
        return script;
    QString out;
    out.reserve(script.size());
    int i = 0;
    while (i < script.size()) {
        if (!is_word_char(script[i])) {
            out += script[i++];
            continue;
        }
        int end = i;
        while (end < script.size() && is_word_char(script[end]))
            ++end;
        out += map(script.mid(i, end - i));
        i = end;
    }
    return out;
}

QStringList same_object_names(const QString& shortest, const QString& full)
{
    const int end = node_end(shortest);
    const QString rest = shortest.mid(end);
    const QString node = shortest.left(end);
    if (node.startsWith('|') || !full.endsWith(shortest) || !full.startsWith('|') ||
        node_end(full) != full.size() - rest.size())
        return {shortest};
    const QString full_node = full.left(full.size() - rest.size());
    // The full path must end with the shortest at a part boundary.
    if (full_node.size() > node.size() && full_node[full_node.size() - node.size() - 1] != '|')
        return {shortest};
    QStringList out{shortest};
    // Each '|' before the shortest's first part starts one longer tail.
    // (A negative start would search from the end: stop at the first '|'.)
    for (int at = full_node.size() - node.size() - 1; at > 0;) {
        at = full_node.lastIndexOf('|', at - 1);
        out.append(full_node.mid(at + 1) + rest);
    }
    out.append(full);
    return out;
}

namespace {

using word_map = std::function<QString(const QString&)>;

// What a name-like word inside a literal or a MEL argument is made of: a
// name with its namespaces, DAG path, attribute and wildcards.
bool is_text_word_char(QChar c)
{
    return is_name_char(c) || c == ':' || c == '|' || c == '.' || c == '*' || c == '?';
}

bool starts_text_word(QChar c)
{
    return is_name_char(c) || c == ':' || c == '|' || c == '*';
}

// Appends text[begin, end) to out with each name-like word through map. An
// escape (a backslash and the character after it) is never part of a name.
void map_text_words(const QString& text, int begin, int end, const word_map& map, QString& out)
{
    int i = begin;
    while (i < end) {
        const QChar c = text[i];
        if (c == '\\') {
            const int length = std::min(2, end - i);
            out += QStringView(text).mid(i, length);
            i += length;
            continue;
        }
        if (!starts_text_word(c)) {
            out += c;
            ++i;
            continue;
        }
        int j = i;
        while (j < end) {
            if (is_text_word_char(text[j])) {
                ++j;
                continue;
            }
            // A component or index ("body.vtx[0:3]") belongs to its word.
            if (text[j] == '[') {
                int close = j + 1;
                while (close < end && text[close] != ']' && text[close] != '\\' && text[close] != '[')
                    ++close;
                if (close < end && text[close] == ']') {
                    j = close + 1;
                    continue;
                }
            }
            break;
        }
        out += map(text.mid(i, j - i));
        i = j;
    }
}

// ----- Python

bool is_string_prefix(const QString& word)
{
    static const QStringList prefixes{"r", "u", "b", "f", "br", "rb", "fr", "rf"};
    return prefixes.contains(word.toLower());
}

// The literal whose quote is at `quote`: appends it to out, its words
// mapped unless it is an f-string (its braces hold code) or bytes.
// Returns where it ends.
int python_literal(const QString& s, int quote, const QString& prefix, const word_map& map, QString& out)
{
    const int n = s.size();
    const QChar q = s[quote];
    const bool triple = quote + 2 < n && s[quote + 1] == q && s[quote + 2] == q;
    const int open = triple ? 3 : 1;
    const int begin = quote + open;
    int end = begin;
    int close = 0;
    while (end < n) {
        if (s[end] == '\\') {
            end += 2;
            continue;
        }
        if (triple ? (end + 2 < n && s[end] == q && s[end + 1] == q && s[end + 2] == q) : s[end] == q) {
            close = open;
            break;
        }
        if (!triple && s[end] == '\n')
            break; // unterminated: the line ends it
        ++end;
    }
    end = std::min(end, n);
    out += QStringView(s).mid(quote, open);
    const QString p = prefix.toLower();
    if (p.contains('f') || p.contains('b'))
        out += QStringView(s).mid(begin, end - begin);
    else
        map_text_words(s, begin, end, map, out);
    out += QStringView(s).mid(end, close);
    return end + close;
}

QString map_python(const QString& s, const word_map& map)
{
    QString out;
    out.reserve(s.size() + 16);
    const int n = s.size();
    int i = 0;
    while (i < n) {
        const QChar c = s[i];
        if (c == '#') {
            int end = s.indexOf('\n', i);
            if (end < 0)
                end = n;
            out += QStringView(s).mid(i, end - i);
            i = end;
            continue;
        }
        if (is_name_char(c) || c.unicode() > 127) {
            int j = i;
            while (j < n && (is_name_char(s[j]) || s[j].unicode() > 127))
                ++j;
            const QString word = s.mid(i, j - i);
            if (j < n && (s[j] == '\'' || s[j] == '"') && is_string_prefix(word)) {
                out += word;
                i = python_literal(s, j, word, map, out);
            } else {
                out += word;
                i = j;
            }
            continue;
        }
        if (c == '\'' || c == '"') {
            i = python_literal(s, i, QString(), map, out);
            continue;
        }
        out += c;
        ++i;
    }
    return out;
}

// ----- MEL

// Where the MEL reader is: at the start of a statement (a word there names
// a command), inside an expression, or among a command's arguments.
enum class mel_mode { statement, expression, command };

struct mel_group {
    QChar kind; // '(' or '`'
    mel_mode after;
};

bool is_mel_keyword(const QString& word)
{
    static const QStringList keywords{"if",     "else",  "for",    "in",    "while", "do",     "switch",
                                      "case",   "default", "break", "continue", "return", "global", "proc",
                                      "string", "int",   "float",  "vector", "matrix", "true",  "false",
                                      "on",     "off",   "yes",    "no"};
    return keywords.contains(word);
}

bool is_mel_argument_word(const QString& word)
{
    const QChar c = word[0];
    // Flags, variables and numbers are not names.
    return !(c == '-' || c == '+' || c == '$' || c == '.' || c.isDigit());
}

int mel_literal(const QString& s, int quote, const word_map& map, QString& out)
{
    const int n = s.size();
    int end = quote + 1;
    while (end < n && s[end] != '"') {
        if (s[end] == '\\')
            ++end;
        ++end;
    }
    end = std::min(end, n);
    out += '"';
    map_text_words(s, quote + 1, end, map, out);
    if (end < n) {
        out += '"';
        ++end;
    }
    return end;
}

QString map_mel(const QString& s, const word_map& map)
{
    static const QString command_word_end = QStringLiteral(";\"`(){}");
    QString out;
    out.reserve(s.size() + 16);
    const int n = s.size();
    mel_mode mode = mel_mode::statement;
    QVector<mel_group> groups;
    QString last_word; // the word right before a '(' tells a condition
    bool in_case = false;
    int i = 0;
    while (i < n) {
        const QChar c = s[i];
        const QChar next = i + 1 < n ? s[i + 1] : QChar();
        if (c.isSpace()) {
            out += c;
            ++i;
            continue;
        }
        if (c == '/' && (next == '/' || next == '*')) {
            int end = next == '/' ? s.indexOf('\n', i) : s.indexOf("*/", i + 2);
            end = end < 0 ? n : (next == '/' ? end : end + 2);
            out += QStringView(s).mid(i, end - i);
            i = end;
            continue;
        }
        if (c == '"') {
            i = mel_literal(s, i, map, out);
            if (mode == mel_mode::statement)
                mode = mel_mode::expression;
            last_word.clear();
            continue;
        }
        if (c == '`') {
            out += c;
            ++i;
            if (!groups.isEmpty() && groups.last().kind == '`') {
                mode = groups.takeLast().after;
            } else {
                groups.append({c, mode == mel_mode::command ? mel_mode::command : mel_mode::expression});
                mode = mel_mode::statement;
            }
            last_word.clear();
            continue;
        }
        if (c == ')') {
            out += c;
            ++i;
            if (!groups.isEmpty() && groups.last().kind == '(')
                mode = groups.takeLast().after;
            last_word.clear();
            continue;
        }
        if (c == ';' || c == '{' || c == '}') {
            out += c;
            ++i;
            mode = mel_mode::statement;
            last_word.clear();
            in_case = false;
            continue;
        }
        if (c == '(') {
            const bool condition = last_word == "if" || last_word == "while" || last_word == "for" ||
                                   last_word == "switch";
            mel_mode after = mel_mode::expression;
            if (mode == mel_mode::command)
                after = mel_mode::command;
            else if (condition)
                after = mel_mode::statement;
            groups.append({c, after});
            out += c;
            ++i;
            mode = mel_mode::expression;
            last_word.clear();
            continue;
        }
        if (mode == mel_mode::command) {
            // One argument, read as MEL reads command syntax.
            int j = i;
            while (j < n && !s[j].isSpace() && !command_word_end.contains(s[j]))
                ++j;
            if (is_mel_argument_word(s.mid(i, j - i)))
                map_text_words(s, i, j, map, out);
            else
                out += QStringView(s).mid(i, j - i);
            i = j;
            continue;
        }
        if (c == '$' || is_name_char(c)) {
            int j = i + 1;
            while (j < n && is_name_char(s[j]))
                ++j;
            const QString word = s.mid(i, j - i);
            out += word;
            i = j;
            int after = j;
            while (after < n && s[after].isSpace())
                ++after;
            const bool call = after < n && s[after] == '(';
            if (c != '$' && !c.isDigit() && mode == mel_mode::statement && !is_mel_keyword(word) && !call)
                mode = mel_mode::command;
            else if (word == "else" || word == "do")
                mode = mel_mode::statement;
            else
                mode = mel_mode::expression;
            if (word == "case" || word == "default")
                in_case = true;
            last_word = word;
            continue;
        }
        out += c;
        ++i;
        if (c == ':' && in_case) {
            mode = mel_mode::statement;
            in_case = false;
        } else if (mode == mel_mode::statement) {
            mode = mel_mode::expression;
        }
        last_word.clear();
    }
    return out;
}

} // namespace

QString map_script_names(const QString& script, int language, const std::function<QString(const QString&)>& map)
{
    if (script.isEmpty())
        return script;
    return language == 1 ? map_python(script, map) : map_mel(script, map);
}

namespace {

// The text of a script in which object names are looked for: MEL without its
// comments; of Python, only what is inside string literals (names there are
// always strings, while bare words are code).
QString searchable_text(const QString& script, bool python)
{
    QString out;
    out.reserve(script.size());
    const int n = script.size();
    for (int i = 0; i < n;) {
        const QChar c = script[i];
        if (python ? c == '#' : QStringView(script).mid(i, 2) == QLatin1String("//")) {
            while (i < n && script[i] != '\n')
                ++i;
        } else if (!python && QStringView(script).mid(i, 2) == QLatin1String("/*")) {
            const int end = script.indexOf(QLatin1String("*/"), i + 2);
            i = end < 0 ? n : end + 2;
        } else if (c == '"' || (python && c == '\'')) {
            const bool triple = python && QStringView(script).mid(i, 3) == QString(3, c);
            const int quote = triple ? 3 : 1;
            out += ' ';
            for (i += quote; i < n; ++i) {
                if (script[i] == '\\' && i + 1 < n) {
                    out += ' '; // an escape ends a word ("\n")
                    ++i;
                } else if (triple ? QStringView(script).mid(i, 3) == QString(3, c) : script[i] == c) {
                    i += quote;
                    break;
                } else if (!triple && script[i] == '\n') {
                    break;
                } else {
                    out += script[i];
                }
            }
            out += ' ';
            continue;
        } else {
            out += python ? QChar(' ') : c;
            ++i;
            continue;
        }
        out += ' ';
    }
    return out;
}

// A Maya name with a namespace in some part of its path ("hero:hand",
// "|rig:grp|rig:ctl"): what a script names an object with, and never a
// keyword, a flag or a variable.
bool is_namespaced_name(const QString& name)
{
    static const QRegularExpression segment("^:?([A-Za-z_][A-Za-z0-9_]*:)*[A-Za-z_][A-Za-z0-9_]*$");
    bool namespaced = false;
    const QStringList parts = name.split('|');
    for (int i = 0; i < parts.size(); ++i) {
        if (parts[i].isEmpty() && i == 0 && parts.size() > 1)
            continue; // a leading '|'
        if (!segment.match(parts[i]).hasMatch())
            return false;
        namespaced = namespaced || QStringView(parts[i]).mid(1).contains(':');
    }
    return namespaced;
}

} // namespace

QStringList script_object_nodes(const QString& script, bool python, const QSet<QString>& bound)
{
    QStringList nodes;
    map_script_words(searchable_text(script, python), [&](const QString& word) {
        const QString node = word.left(node_end(word));
        if (is_namespaced_name(node) || bound.contains(node))
            nodes << node;
        return word;
    });
    return nodes;
}
