#include "view/namespace_binding.h"

#include "edit/rebind_command.h"
#include "view/picker_view.h"
#include "window/namespace_dialog.h"

#include <algorithm>

namespace {

// The node part of a name ends at its first attribute or component.
int node_end(const QString& name)
{
    for (int i = 0; i < name.size(); ++i)
        if (name[i] == '.' || name[i] == '[')
            return i;
    return name.size();
}

// A namespace without its leading and trailing colon; the root is empty.
QString bare(const QString& ns)
{
    QString out = ns;
    if (out.startsWith(':'))
        out.remove(0, 1);
    if (out.endsWith(':'))
        out.chop(1);
    return out;
}

bool is_name_char(QChar c)
{
    const ushort u = c.unicode();
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') || u == '_';
}

struct namespace_pairs {
    QStringList from; // bare
    QStringList to;   // bare
};

namespace_pairs bare_pairs(const QStringList& from, const QStringList& to)
{
    namespace_pairs pairs;
    const int n = std::min(from.size(), to.size());
    for (int j = 0; j < n; ++j) {
        pairs.from << bare(from[j]);
        pairs.to << bare(to[j]);
    }
    return pairs;
}

// One segment of a DAG path: an optional ':' that anchors it at the root,
// then its namespaces and the node's own name.
QString rebind_segment(const QString& segment, const namespace_pairs& pairs, bool script)
{
    const bool anchored = segment.startsWith(':');
    const QString body = anchored ? segment.mid(1) : segment;
    const int colon = body.lastIndexOf(':');
    const QString ns = colon < 0 ? QString() : body.left(colon);
    const QString leaf = body.mid(colon + 1);

    // The most specific old namespace wins, so a nested one chosen on its
    // own is not swallowed by its parent; equal ones: the later pair.
    int best = -1;
    for (int j = 0; j < pairs.from.size(); ++j) {
        const QString& f = pairs.from[j];
        bool match;
        if (f.isEmpty())
            match = ns.isEmpty() && !leaf.isEmpty() && (anchored || !script);
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
    // A script marks root names with ':' so the next rebind still finds them.
    if (moved.isEmpty())
        return (anchored || script ? QString(":") : QString()) + leaf;
    return (anchored && !ns.isEmpty() ? QString(":") : QString()) + moved + ':' + leaf;
}

QString rebind_name(const QString& name, const namespace_pairs& pairs, bool script)
{
    const int end = node_end(name);
    QStringList segments = name.left(end).split('|');
    for (QString& segment : segments)
        segment = rebind_segment(segment, pairs, script);
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

bool compare_name(const QString& a, const QString& b)
{
    return a.toLower() < b.toLower();
}

bool is_var_char(QChar c)
{
    return is_name_char(c) || c == ':' || c == '.';
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
    const QString b = bare(ns);
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
    const QString o = bare(old);
    const QString c = bare(chosen);
    if (o == c)
        return;
    from << (o.isEmpty() ? QString(":") : o + ':');
    to << (c.isEmpty() ? QString(":") : c + ':');
}

void rebind_picker_button(buttonAttributes& a, const QStringList& from, const QStringList& to)
{
    const namespace_pairs pairs = bare_pairs(from, to);
    for (QString& name : a.names)
        name = rebind_name(name, pairs, false);
}

void rebind_cmd_button(buttonAttributes& a, const QStringList& from, const QStringList& to)
{
    if (a.names.isEmpty())
        return;
    const namespace_pairs pairs = bare_pairs(from, to);
    const QString& text = a.names[0];
    QString out;
    out.reserve(text.size());
    int i = 0;
    while (i < text.size()) {
        if (!is_var_char(text[i])) {
            out += text[i++];
            continue;
        }
        int end = i;
        while (end < text.size() && is_var_char(text[end]))
            ++end;
        out += rebind_name(text.mid(i, end - i), pairs, true);
        i = end;
    }
    a.names[0] = out;
}

// ----- The view's side

void picker_view::collectCurrentNamespace(QStringList& out) const
{
    for (const buttonRecord& r : buttons)
        if (r.kind == 0)
            for (const QString& name : r.names)
                extract_namespace(out, name);
    std::sort(out.begin(), out.end(), compare_name);
}

void picker_view::rebind(QStringList& sceneNamespaces, bool force)
{
    QStringList current;
    collectCurrentNamespace(current);
    current.removeAll(QString());
    if (current.isEmpty()) {
        current << ":";
        if (!sceneNamespaces.contains(":"))
            sceneNamespaces << ":";
    }
    sceneNamespaces.removeAll(QString());
    bool needed = force;
    for (const QString& ns : current)
        if (!sceneNamespaces.contains(ns))
            needed = true;
    if (needed)
        picker_editNamespaceDialog::do_dialog(this, current, sceneNamespaces);
}

bool picker_view::update_namespace(const QStringList& chosen, QString* why)
{
    if (chosen.isEmpty()) {
        if (why)
            *why = "needs the namespace to move to";
        return false;
    }
    if (!is_valid_namespace(chosen[0])) {
        if (why)
            *why = QString("\"%1\" is not a namespace").arg(chosen[0]);
        return false;
    }
    QStringList current;
    collectCurrentNamespace(current);
    current.removeAll(QString());
    if (current.isEmpty())
        current << ":";
    QStringList from, to;
    for (const QString& old : current) {
        // A nested namespace moves with its parent: rig:sub becomes hero:sub.
        if (bare(old).contains(':'))
            continue;
        add_namespace_pair(from, to, old, chosen[0]);
    }
    rebind_view(this, from, to);
    return true;
}
