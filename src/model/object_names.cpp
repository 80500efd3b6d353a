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
