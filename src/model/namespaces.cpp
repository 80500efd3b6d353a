#include "model/namespaces.h"

#include "model/limits.h"
#include "model/object_names.h"

#include <QHash>

#include <algorithm>
#include <utility>

QString bare_namespace(const QString& ns)
{
    QString out = ns;
    if (out.startsWith(':'))
        out.remove(0, 1);
    if (out.endsWith(':'))
        out.chop(1);
    return out;
}

namespace {

struct namespace_pairs {
    QStringList from; // bare
    QStringList to;   // bare
};

namespace_pairs bare_pairs(const QStringList& from, const QStringList& to)
{
    namespace_pairs pairs;
    const int n = std::min(from.size(), to.size());
    for (int j = 0; j < n; ++j) {
        pairs.from << bare_namespace(from[j]);
        pairs.to << bare_namespace(to[j]);
    }
    return pairs;
}

// One segment of a DAG path: an optional ':' that anchors it at the root,
// then its namespaces and the node's own name. A root segment moves when
// anchored or when root_moves says so (every name of a selection button;
// in a script only the names the picker binds, as any other bare word may
// be a command, a flag or a variable's text).
QString rebind_segment(const QString& segment, const namespace_pairs& pairs, bool script,
                       const QSet<QString>* bound)
{
    const bool anchored = segment.startsWith(':');
    const QString body = anchored ? segment.mid(1) : segment;
    const int colon = body.lastIndexOf(':');
    const QString ns = colon < 0 ? QString() : body.left(colon);
    const QString leaf = body.mid(colon + 1);
    // A namespace alone ("hero:", a prefix a script joins names to).
    const bool prefix = leaf.isEmpty() && !ns.isEmpty();
    if (leaf.isEmpty() && !prefix)
        return segment;
    const bool root_moves = !script || anchored || (bound && bound->contains(leaf));

    // The most specific old namespace wins, so a nested one chosen on its
    // own is not swallowed by its parent; equal ones: the later pair.
    int best = -1;
    for (int j = 0; j < pairs.from.size(); ++j) {
        const QString& f = pairs.from[j];
        bool match;
        if (f.isEmpty())
            match = ns.isEmpty() && root_moves;
        else
            match = ns == f || (ns.startsWith(f) && ns.at(f.size()) == ':');
        if (match && (best < 0 || f.size() >= pairs.from[best].size()))
            best = j;
    }
    if (best < 0)
        return segment;

    const QString& f = pairs.from[best];
    const QString& t = pairs.to[best];
    QString moved;
    if (f.isEmpty()) {
        moved = t;
    } else {
        const QString nested = ns.mid(f.size()); // empty or ":sub..."
        moved = t.isEmpty() ? nested.mid(1) : t + nested;
    }
    if (moved.isEmpty())
        return (anchored || prefix ? QString(":") : QString()) + leaf;
    return (anchored && !ns.isEmpty() ? QString(":") : QString()) + moved + ':' + leaf;
}

QString rebind_name(const QString& name, const namespace_pairs& pairs, bool script, const QSet<QString>* bound)
{
    const int end = node_end(name);
    QStringList segments = name.left(end).split('|');
    for (QString& segment : segments)
        segment = rebind_segment(segment, pairs, script, bound);
    return segments.join('|') + name.mid(end);
}

} // namespace

void extract_namespace(QStringList& out, const QString& name)
{
    const QStringList segments = name.left(node_end(name)).split('|');
    for (const QString& segment : segments) {
        const QString body = segment.startsWith(':') ? segment.mid(1) : segment;
        const int colon = body.lastIndexOf(':');
        if (colon <= 0)
            continue;
        if (colon > limits::max_namespace_chars)
            continue; // none a rig has; a list of it would not lay out
        QString ns = body.left(colon);
        if (ns.contains("::") || ns.endsWith(':'))
            continue; // not a name the host could have made
        for (;;) {
            if (!out.contains(ns))
                out.append(ns);
            const int parent = ns.lastIndexOf(':');
            if (parent < 0)
                break;
            ns.truncate(parent);
        }
    }
}

QStringList namespaces_by_use(const QStringList& names, const QVector<int>& weights)
{
    QHash<QString, int> count;
    QStringList order;
    for (int i = 0; i < names.size(); ++i) {
        const QString& name = names[i];
        const int weight = weights.value(i, 1);
        QStringList used;
        extract_namespace(used, name);
        for (const QString& segment : name.left(node_end(name)).split('|')) {
            const QString body = segment.startsWith(':') ? segment.mid(1) : segment;
            if (!body.isEmpty() && !body.contains(':') && !used.contains(":"))
                used << ":";
        }
        for (const QString& ns : std::as_const(used)) {
            if (!count.contains(ns))
                order << ns;
            count[ns] += weight;
        }
    }
    const auto depth = [](const QString& ns) { return ns == ":" ? 0 : int(ns.count(':')) + 1; };
    std::sort(order.begin(), order.end(), [&](const QString& a, const QString& b) {
        if (count[a] != count[b])
            return count[a] > count[b];
        if (depth(a) != depth(b))
            return depth(a) > depth(b);
        return compare_name(a, b);
    });
    return order;
}

bool compare_name(const QString& a, const QString& b)
{
    return a.toLower() < b.toLower();
}

int findNestedNamespace(const QString& ns, const QStringList& list)
{
    const QString tail = QString(":%1").arg(ns);
    for (int i = 0; i < list.size(); ++i)
        if (list[i].endsWith(tail))
            return i;
    return -1;
}

bool is_valid_namespace(const QString& ns)
{
    const QString b = bare_namespace(ns);
    if (b.isEmpty())
        return ns.size() <= 1;
    for (const QString& part : b.split(':')) {
        if (part.isEmpty() || part[0].isDigit())
            return false;
        for (QChar c : part)
            if (!is_name_char(c))
                return false;
    }
    return true;
}

void add_namespace_pair(QStringList& from, QStringList& to, const QString& old, const QString& chosen)
{
    const QString o = bare_namespace(old);
    const QString c = bare_namespace(chosen);
    if (o == c)
        return;
    from << (o.isEmpty() ? QString(":") : o + ':');
    to << (c.isEmpty() ? QString(":") : c + ':');
}

void add_bound_root_names(QSet<QString>& out, const QStringList& names)
{
    for (const QString& name : names)
        for (const QString& segment : name.left(node_end(name)).split('|')) {
            const QString body = segment.startsWith(':') ? segment.mid(1) : segment;
            if (!body.isEmpty() && !body.contains(':'))
                out.insert(body);
        }
}

void rebind_picker_button(buttonAttributes& a, const QStringList& from, const QStringList& to)
{
    const namespace_pairs pairs = bare_pairs(from, to);
    for (QString& name : a.names)
        name = rebind_name(name, pairs, false, nullptr);
}

void rebind_cmd_button(buttonAttributes& a, const QStringList& from, const QStringList& to,
                       const QSet<QString>& bound)
{
    if (a.names.isEmpty())
        return;
    const namespace_pairs pairs = bare_pairs(from, to);
    a.names[0] = map_script_names(a.names[0], a.language,
                                  [&](const QString& word) { return rebind_name(word, pairs, true, &bound); });
}

void rebind_buttons(QVector<buttonAttributes>& buttons, const QStringList& from, const QStringList& to)
{
    QSet<QString> bound;
    for (const buttonAttributes& b : buttons)
        if (names_scene_objects(b.kind))
            add_bound_root_names(bound, b.names);
    for (buttonAttributes& b : buttons) {
        if (names_scene_objects(b.kind))
            rebind_picker_button(b, from, to);
        else if (b.kind == 1)
            rebind_cmd_button(b, from, to, bound);
    }
}
