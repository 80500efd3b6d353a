#include "model/characters.h"

#include "model/namespaces.h"
#include "model/object_names.h"
#include "model/picker_page.h"

#include <QHash>

#include <algorithm>
#include <utility>

namespace {

// The namespace itself and its parents, the deepest first.
QStringList with_parents(const QString& ns)
{
    QStringList out;
    for (QString each = ns; !each.isEmpty();) {
        out << each;
        const int parent = each.lastIndexOf(':');
        each = parent < 0 ? QString() : each.left(parent);
    }
    return out;
}

bool inside(const QString& ns, const QString& outer)
{
    return ns == outer || (ns.startsWith(outer) && ns.size() > outer.size() && ns.at(outer.size()) == ':');
}

// Whether the scene has most of the page's sampled names moved to ns: a
// button or two left broken in the rig does not keep a picker from fitting.
bool fits(const page_binding& binding, const QString& ns,
          const std::function<QStringList(const QStringList&)>& missing)
{
    if (binding.sample.isEmpty() || binding.main == ns)
        return false;
    QStringList from, to;
    add_namespace_pair(from, to, binding.main, ns);
    buttonAttributes moved;
    moved.names = binding.sample;
    rebind_picker_button(moved, from, to);
    return missing(moved.names).size() * 4 <= moved.names.size();
}

} // namespace

namespace {
// The node a name ends in, without a DAG path or a leading root colon.
QString leaf_node(const QString& name)
{
    QString node = name.left(node_end(name));
    node = node.mid(node.lastIndexOf('|') + 1);
    if (node.startsWith(':'))
        node.remove(0, 1);
    return node;
}
} // namespace

QString node_namespace(const QString& name)
{
    const QString node = leaf_node(name);
    const int colon = node.lastIndexOf(':');
    return colon <= 0 ? QString() : node.left(colon);
}

QString selection_node(const QStringList& names)
{
    for (auto it = names.crbegin(); it != names.crend(); ++it) {
        const QString ns = node_namespace(*it);
        // One a name could not have (a mistyped "a::b") says nothing.
        if (!ns.isEmpty() && is_valid_namespace(ns))
            return leaf_node(*it);
    }
    return QString();
}

QString selection_namespace(const QStringList& names)
{
    return node_namespace(selection_node(names));
}

page_binding binding_of(const QList<buttonRecord>& buttons)
{
    page_binding out;
    // Names with the same text before their node's own name live in the
    // same namespaces: each such prefix is worked out once, counted by the
    // names that share it (a picker of thousands has a handful).
    QHash<QString, int> group_of;
    QStringList reps;
    QVector<int> weights;
    QVector<int> groups; // each name's, in order
    int total = 0;
    for (const buttonRecord& r : buttons)
        if (names_scene_objects(r.kind))
            total += r.names.size();
    groups.reserve(total);
    QString last_prefix;
    int last = -1;
    for (const buttonRecord& r : buttons) {
        if (!names_scene_objects(r.kind))
            continue;
        for (const QString& name : r.names) {
            const QStringView node = QStringView(name).left(node_end(name));
            const qsizetype cut = std::max(node.lastIndexOf(':'), node.lastIndexOf('|')) + 1;
            const QStringView prefix = node.left(cut);
            if (last < 0 || prefix != QStringView(last_prefix)) {
                last_prefix = prefix.toString();
                const auto found = group_of.constFind(last_prefix);
                if (found != group_of.constEnd()) {
                    last = *found;
                } else {
                    last = int(reps.size());
                    group_of.insert(last_prefix, last);
                    reps << name;
                    weights << 0;
                    const QString ns = node_namespace(name);
                    out.direct.insert(ns.isEmpty() ? QString(":") : ns);
                }
            }
            ++weights[last];
            groups << last;
        }
    }
    const QStringList used = namespaces_by_use(reps, weights);
    if (used.isEmpty())
        return out;
    out.main = used.first();
    // Spread over the picker, so one body part renamed in a rig copy does
    // not decide alone: the places of the names in main, then every n-th.
    QVector<bool> group_fits(reps.size());
    for (int g = 0; g < reps.size(); ++g) {
        const QString ns = node_namespace(reps[g]);
        group_fits[g] = out.main == ":" ? ns.isEmpty() : inside(ns, out.main);
    }
    int n = 0;
    for (int g : std::as_const(groups))
        n += group_fits[g];
    const int take = std::min(n, binding_sample_size);
    QVector<int> wanted; // k-th fitting name, rising
    for (int k = 0; k < take; ++k)
        wanted << int(qint64(k) * n / take);
    int flat = 0, fitting = 0, next = 0;
    for (const buttonRecord& r : buttons) {
        if (!names_scene_objects(r.kind))
            continue;
        for (const QString& name : r.names) {
            if (next < wanted.size() && group_fits[groups[flat]]) {
                if (fitting == wanted[next]) {
                    out.sample << name.left(node_end(name));
                    ++next;
                }
                ++fitting;
            }
            ++flat;
        }
    }
    out.sample.removeDuplicates();
    return out;
}

QSet<QString> nodes_of(const QList<buttonRecord>& buttons)
{
    QSet<QString> nodes;
    for (const buttonRecord& r : buttons)
        if (names_scene_objects(r.kind))
            for (const QString& name : r.names)
                nodes.insert(leaf_node(name));
    return nodes;
}

follow_step plan_follow(const QVector<const picker_page*>& pages, int current, const QString& ns,
                        const std::function<QStringList(const QStringList&)>& missing, const QString& node)
{
    follow_step step;
    if (ns.isEmpty() || pages.isEmpty())
        return step;
    const QStringList candidates = with_parents(ns);
    const picker_page* front = pages.value(current);
    QVector<int> order;
    if (front)
        order << current;
    for (int i = 0; i < pages.size(); ++i)
        if (i != current)
            order << i;
    if (!node.isEmpty() && inside(node_namespace(node), ns)) {
        for (int i : std::as_const(order))
            if (pages[i]->binding_nodes().contains(node)) {
                if (i != current) {
                    step.what = follow_step::show;
                    step.page = i;
                }
                return step;
            }
        const QString own = node.mid(ns.size() + 1);
        for (int i : std::as_const(order)) {
            const page_binding& b = pages[i]->binding();
            const QString there = b.main == ":" ? own : b.main + ':' + own;
            if (pages[i]->binding_nodes().contains(there) && fits(b, ns, missing)) {
                step.what = follow_step::rebind;
                step.page = i;
                step.to = ns;
                return step;
            }
        }
    }
    if (front)
        for (const QString& c : candidates)
            if (front->binding().direct.contains(c))
                return step;
    const auto show = [&step](int index) {
        step.what = follow_step::show;
        step.page = index;
        return step;
    };
    for (const QString& c : candidates) {
        for (int i = 0; i < pages.size(); ++i)
            if (i != current && pages[i]->binding().main == c)
                return show(i);
        for (int i = 0; i < pages.size(); ++i)
            if (i != current && pages[i]->binding().direct.contains(c))
                return show(i);
    }
    for (const QString& c : candidates)
        for (int i : std::as_const(order))
            if (fits(pages[i]->binding(), c, missing)) {
                step.what = follow_step::rebind;
                step.page = i;
                step.to = c;
                return step;
            }
    return step;
}
