#include "model/object_names.h"

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
