#include "model/side_patterns.h"

#include "model/limits.h"
#include "model/object_names.h"

#include <QSettings>

#include <algorithm>

namespace side_patterns {

namespace {

const char* const settings_key = "mirrorPatterns";

} // namespace

QStringList built_in()
{
    return {"L_", "R_", "_L", "_R", "left", "right", "Left", "Right", "LEFT", "RIGHT"};
}

QString check(const QStringList& pairs)
{
    if (pairs.size() % 2 != 0)
        return "patterns come in pairs: left, right";
    if (pairs.size() > limits::max_side_patterns)
        return QString("a picker holds at most %1 pairs of patterns").arg(limits::max_side_patterns / 2);
    for (int i = 0; i < pairs.size(); ++i) {
        const QString& p = pairs[i];
        if (p.size() > limits::max_side_pattern_chars)
            return QString("a pattern has at most %1 characters").arg(limits::max_side_pattern_chars);
        if (std::all_of(p.begin(), p.end(), [](QChar c) { return c == '_'; }))
            return QString("\"%1\" has no letters or digits").arg(p);
        for (QChar c : p)
            if (!is_name_char(c))
                return QString("\"%1\" may hold only letters, digits and _").arg(p);
        if (i % 2 == 1 && p == pairs[i - 1])
            return QString("\"%1\" is on both sides").arg(p);
    }
    return QString();
}

QStringList user_default()
{
    QSettings settings("Quillmarsh", "picker");
    const QStringList stored = settings.value(settings_key).toStringList();
    // Settings edited by hand are used only when they still make pairs.
    if (stored.isEmpty() || !check(stored).isEmpty())
        return built_in();
    return stored;
}

void set_user_default(const QStringList& pairs)
{
    QSettings settings("Quillmarsh", "picker");
    if (pairs.isEmpty())
        settings.remove(settings_key);
    else
        settings.setValue(settings_key, pairs);
}

} // namespace side_patterns
