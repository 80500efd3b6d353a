#include "scene_state.h"

#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace sandbox {

namespace {

const QStringList permanent_namespaces = {"UI", "shared"};

// Maya names: letters, digits and '_', not starting with a digit.
bool is_valid_short_name(const QString& name)
{
    if (name.isEmpty() || name[0].isDigit())
        return false;
    for (QChar c : name)
        if (!(c.isLetterOrNumber() || c == '_') || c.unicode() > 127)
            return false;
    return true;
}

QString strip_root(const QString& name)
{
    return name.startsWith(':') ? name.mid(1) : name;
}

QRegularExpression wildcard(const QString& pattern)
{
    QString rx;
    for (QChar c : pattern) {
        if (c == '*')
            rx += "[^:]*";
        else if (c == '?')
            rx += "[^:]";
        else
            rx += QRegularExpression::escape(QString(c));
    }
    return QRegularExpression(QRegularExpression::anchoredPattern(rx));
}

} // namespace

void scene_state::reset()
{
    nodes_.clear();
    by_name_.clear();
    next_id_ = 1;
    last_created_ = 0;
    references_.clear();
    reading_ = -1;
    namespaces_ = permanent_namespaces;
    current_namespace_.clear();
    selection_.clear();
    file_info_.clear();
    modified = false;
    file_name.clear();
    units = scene_units();
}

// ----- Nodes

namespace {

const QStringList dag_types = {"transform", "joint", "mesh", "nurbsCurve", "nurbsSurface",
                               "locator", "camera", "ikHandle"};

struct attribute_info {
    const char* long_name;
    const char* short_name;
    double fallback;
};

// The numeric attributes every transform (and joint) has.
const attribute_info transform_attributes[] = {
    {"translateX", "tx", 0}, {"translateY", "ty", 0}, {"translateZ", "tz", 0},
    {"rotateX", "rx", 0},    {"rotateY", "ry", 0},    {"rotateZ", "rz", 0},
    {"scaleX", "sx", 1},     {"scaleY", "sy", 1},     {"scaleZ", "sz", 1},
    {"visibility", "v", 1},
};

// The compounds of three that scripts set in one go.
const char* const compounds[][2] = {{"translate", "t"}, {"rotate", "r"}, {"scale", "s"}};

const attribute_info* find_attribute(const QString& name)
{
    for (const attribute_info& a : transform_attributes)
        if (name == QLatin1String(a.long_name) || name == QLatin1String(a.short_name))
            return &a;
    return nullptr;
}

bool has_attributes(const QString& type)
{
    return type == "transform" || type == "joint";
}

QString no_match(const QString& name)
{
    return QString("No object matches name: %1").arg(name);
}

// A name's parts; a leading ':' on a part is the root namespace.
QStringList path_parts(const QString& path, bool* anchored)
{
    *anchored = path.startsWith('|');
    QStringList parts = path.split('|');
    if (*anchored)
        parts.removeFirst();
    for (QString& part : parts)
        part = strip_root(part);
    return parts;
}

QString number_text(double v)
{
    return QString::number(v, 'g', 15);
}

} // namespace

bool scene_state::is_dag_type(const QString& type)
{
    return dag_types.contains(type);
}

QString scene_state::attribute_long_name(const QString& type, const QString& attr, int* count)
{
    if (!has_attributes(type))
        return QString();
    if (const attribute_info* a = find_attribute(attr)) {
        if (count)
            *count = 1;
        return QLatin1String(a->long_name);
    }
    for (const auto& c : compounds) {
        if (attr == QLatin1String(c[0]) || attr == QLatin1String(c[1])) {
            if (count)
                *count = 3;
            return QLatin1String(c[0]);
        }
    }
    return QString();
}

// Ids of the nodes whose path ends with the parts of `path` (all of it when
// anchored); with wildcards each part is a '*'/'?' pattern.
QVector<int> scene_state::find(const QString& path, bool wildcards) const
{
    bool anchored = false;
    const QStringList parts = path_parts(path, &anchored);
    if (parts.isEmpty() || parts.contains(QString()))
        return {};
    QVector<QRegularExpression> rx;
    if (wildcards)
        for (const QString& part : parts)
            rx.append(wildcard(part));
    auto part_matches = [&](int i, const QString& name) {
        return wildcards ? rx[i].match(name).hasMatch() : name == parts[i];
    };
    QVector<int> candidates;
    if (wildcards)
        candidates = nodes_.keys().toVector();
    else
        candidates = by_name_.value(parts.last());
    QVector<int> out;
    for (int id : std::as_const(candidates)) {
        const node& n = nodes_[id];
        if (!part_matches(parts.size() - 1, n.name))
            continue;
        int at = n.parent;
        bool ok = true;
        for (int i = parts.size() - 2; i >= 0 && ok; --i) {
            ok = at != 0 && part_matches(i, nodes_[at].name);
            if (ok)
                at = nodes_[at].parent;
        }
        // Anchored paths only name DAG nodes, from the world down.
        if (ok && anchored)
            ok = at == 0 && is_dag_type(n.type);
        if (ok)
            out.append(id);
    }
    std::sort(out.begin(), out.end());
    return out;
}

int scene_state::find_one(const QString& name, QString* error) const
{
    QString key = strip_root(name);
    if (reading_ >= 0)
        key = in_reference(name);
    const QVector<int> found = name.contains('*') || name.contains('?') ? QVector<int>() : find(key, false);
    if (found.size() == 1)
        return found[0];
    if (error)
        *error = found.isEmpty() ? no_match(name) : QString("More than one object matches name: %1").arg(name);
    return 0;
}

QString scene_state::path_of(int id, bool long_name) const
{
    const node& n = nodes_[id];
    if (!is_dag_type(n.type))
        return n.name;
    QVector<int> chain; // the node, its parent, ... up to the world
    for (int at = id; at != 0; at = nodes_[at].parent)
        chain.append(at);
    auto joined = [&](int parts) {
        QString out;
        for (int i = parts - 1; i >= 0; --i) {
            if (!out.isEmpty())
                out += '|';
            out += nodes_[chain[i]].name;
        }
        return out;
    };
    if (long_name)
        return '|' + joined(chain.size());
    // The fewest trailing parts that no other node's path ends with.
    QVector<int> rivals = by_name_.value(n.name);
    rivals.removeOne(id);
    QVector<int> ancestors = rivals; // each rival's ancestor at the current depth
    for (int k = 1; k <= chain.size(); ++k) {
        if (rivals.isEmpty())
            return joined(k);
        if (k == chain.size())
            break;
        const QString& next = nodes_[chain[k]].name;
        QVector<int> kept, kept_at;
        for (int i = 0; i < rivals.size(); ++i) {
            const int up = nodes_[ancestors[i]].parent;
            if (up != 0 && nodes_[up].name == next) {
                kept.append(rivals[i]);
                kept_at.append(up);
            }
        }
        rivals = kept;
        ancestors = kept_at;
    }
    return '|' + joined(chain.size());
}

QString scene_state::in_reference(const QString& name) const
{
    if (reading_ < 0)
        return strip_root(name);
    const QString& ns = references_[reading_].ns;
    bool anchored = false;
    QStringList parts = path_parts(name, &anchored);
    for (QString& part : parts)
        part = ns + ':' + part;
    return (anchored ? "|" : "") + parts.join('|');
}

bool scene_state::is_below(int id, int ancestor) const
{
    for (int at = id; at != 0; at = nodes_[at].parent)
        if (at == ancestor)
            return true;
    return false;
}

// Maya's numbered name when `wanted` is taken among the node's siblings; a
// non-DAG node (and so a node at the world) must not share a name with any
// node the world holds.
QString scene_state::free_name(const QString& wanted, int parent, bool dag) const
{
    auto taken = [&](const QString& name) {
        for (int id : by_name_.value(name)) {
            const node& n = nodes_[id];
            if (!dag || (is_dag_type(n.type) ? n.parent == parent : parent == 0))
                return true;
        }
        return false;
    };
    if (!taken(wanted))
        return wanted;
    const int colon = wanted.lastIndexOf(':');
    const QString prefix = wanted.left(colon + 1);
    QString base = wanted.mid(colon + 1);
    while (!base.isEmpty() && base.back().isDigit())
        base.chop(1);
    for (int n = 1;; ++n) {
        const QString candidate = prefix + base + QString::number(n);
        if (!taken(candidate))
            return candidate;
    }
}

QString scene_state::create_node(const QString& type, const QString& name, const QString& parent, QString* error)
{
    int parent_id = 0;
    const bool dag = is_dag_type(type);
    if (!parent.isEmpty()) {
        parent_id = find_one(parent, error);
        if (!parent_id)
            return QString();
        if (!dag || !is_dag_type(nodes_[parent_id].type)) {
            if (error)
                *error = QString("Cannot parent a %1 node under %2.").arg(type, parent);
            return QString();
        }
    }
    QString full = strip_root(name);
    if (full.isEmpty())
        full = type + "1";
    QString ns;
    QString shortName = full;
    int colon = full.lastIndexOf(':');
    if (colon >= 0) {
        ns = full.left(colon);
        shortName = full.mid(colon + 1);
    } else if (!current_namespace_.isEmpty()) {
        ns = current_namespace_;
    }
    // A referenced file's names all go under its namespace.
    if (reading_ >= 0 && (colon >= 0 || current_namespace_.isEmpty()))
        ns = ns.isEmpty() ? references_[reading_].ns : references_[reading_].ns + ':' + ns;
    if (!ns.isEmpty() && !namespace_exists(ns)) {
        if (error)
            *error = QString("Namespace \"%1\" does not exist.").arg(ns);
        return QString();
    }
    // Maya turns characters a name may not hold into underscores.
    for (QChar& c : shortName)
        if (!(c.isLetterOrNumber() || c == '_') || c.unicode() > 127)
            c = '_';
    if (shortName.isEmpty() || shortName[0].isDigit())
        shortName.prepend('_');
    QString prefix = ns.isEmpty() ? QString() : ns + ':';
    const QString given = free_name(prefix + shortName, parent_id, dag);
    const int id = next_id_++;
    node n;
    n.name = given;
    n.type = type;
    n.parent = parent_id;
    n.reference = reading_;
    nodes_.insert(id, n);
    by_name_[given].append(id);
    last_created_ = id;
    return path_of(id, false);
}

bool scene_state::parent_node(const QString& child, const QString& parent, QString* error, QString* now)
{
    const int id = find_one(child, error);
    if (!id)
        return false;
    int parent_id = 0;
    if (!parent.isEmpty()) {
        parent_id = find_one(parent, error);
        if (!parent_id)
            return false;
    }
    node& n = nodes_[id];
    if (!is_dag_type(n.type) || (parent_id && !is_dag_type(nodes_[parent_id].type))) {
        if (error)
            *error = QString("Only DAG objects can be parented: %1").arg(parent_id ? parent : child);
        return false;
    }
    if (n.reference >= 0 && reading_ < 0) {
        if (error)
            *error = QString("%1 is from a referenced file and cannot be parented.").arg(child);
        return false;
    }
    if (parent_id && is_below(parent_id, id)) {
        if (error)
            *error = QString("Cannot parent %1 under itself or one of its descendants.").arg(child);
        return false;
    }
    if (n.parent == parent_id) {
        if (error)
            *error = parent_id ? QString("%1 is already a child of %2.").arg(child, parent)
                               : QString("%1 is already a child of the world.").arg(child);
        return false;
    }
    // A name taken among the new siblings is numbered, as Maya does.
    by_name_[n.name].removeOne(id);
    if (by_name_[n.name].isEmpty())
        by_name_.remove(n.name);
    n.parent = parent_id;
    n.name = free_name(n.name, parent_id, true);
    by_name_[n.name].append(id);
    if (now)
        *now = path_of(id, false);
    return true;
}

bool scene_state::delete_node(const QString& name, bool* selection_changed, QString* error)
{
    *selection_changed = false;
    const int id = find_one(name, error);
    if (!id)
        return false;
    if (nodes_[id].reference >= 0) {
        if (error)
            *error = QString("Cannot delete %1: it is from a referenced file.").arg(name);
        return false;
    }
    QVector<int> doomed;
    for (auto it = nodes_.cbegin(); it != nodes_.cend(); ++it)
        if (is_below(it.key(), id))
            doomed.append(it.key());
    for (int gone : doomed) {
        const QString leaf = nodes_[gone].name;
        by_name_[leaf].removeOne(gone);
        if (by_name_[leaf].isEmpty())
            by_name_.remove(leaf);
    }
    for (int gone : doomed)
        nodes_.remove(gone);
    QVector<selected> kept;
    for (const selected& item : std::as_const(selection_))
        if (nodes_.contains(item.node))
            kept.append(item);
    if (kept.size() != selection_.size()) {
        selection_ = kept;
        *selection_changed = true;
    }
    return true;
}

bool scene_state::node_exists(const QString& name) const
{
    return find_one(name, nullptr) != 0;
}

QString scene_state::node_type(const QString& name) const
{
    const int id = find_one(name, nullptr);
    return id ? nodes_[id].type : QString();
}

QStringList scene_state::nodes(bool long_names) const
{
    QStringList out;
    out.reserve(nodes_.size());
    for (auto it = nodes_.cbegin(); it != nodes_.cend(); ++it)
        out.append(path_of(it.key(), long_names));
    return out;
}

QString scene_state::long_name(const QString& name, QString* error) const
{
    const int id = find_one(name, error);
    return id ? path_of(id, true) : QString();
}

QString scene_state::short_name(const QString& name) const
{
    const int id = find_one(name, nullptr);
    return id ? path_of(id, false) : QString();
}

// ----- Attributes

bool scene_state::set_attribute(const QString& plug, const QVector<double>& values, QString* error)
{
    const int dot = plug.lastIndexOf('.');
    // A scene file's ".tx" is the node it created last.
    const int id = dot > 0 ? find_one(plug.left(dot), nullptr) : dot == 0 && nodes_.contains(last_created_) ? last_created_ : 0;
    int count = 0;
    const QString attr = id ? attribute_long_name(nodes_[id].type, plug.mid(dot + 1), &count) : QString();
    if (attr.isEmpty()) {
        if (error)
            *error = no_match(plug);
        return false;
    }
    if (values.size() != count) {
        if (error)
            *error = QString("%1 takes %2 value(s), not %3.").arg(plug).arg(count).arg(values.size());
        return false;
    }
    node& n = nodes_[id];
    QStringList longs;
    if (count == 1)
        longs << attr;
    else
        longs << attr + 'X' << attr + 'Y' << attr + 'Z';
    for (int i = 0; i < longs.size(); ++i) {
        const double fallback = find_attribute(longs[i])->fallback;
        // Visibility is a boolean: any value but 0 is on.
        const double v = longs[i] == "visibility" ? (values[i] != 0 ? 1 : 0) : values[i];
        if (v == fallback)
            n.values.remove(longs[i]);
        else
            n.values.insert(longs[i], v);
    }
    return true;
}

bool scene_state::get_attribute(const QString& plug, QVector<double>* values, QString* error) const
{
    const int dot = plug.lastIndexOf('.');
    const int id = dot > 0 ? find_one(plug.left(dot), nullptr) : 0;
    int count = 0;
    const QString attr = id ? attribute_long_name(nodes_[id].type, plug.mid(dot + 1), &count) : QString();
    if (attr.isEmpty()) {
        if (error)
            *error = no_match(plug);
        return false;
    }
    const node& n = nodes_[id];
    values->clear();
    QStringList longs;
    if (count == 1)
        longs << attr;
    else
        longs << attr + 'X' << attr + 'Y' << attr + 'Z';
    for (const QString& l : std::as_const(longs))
        values->append(n.values.value(l, find_attribute(l)->fallback));
    return true;
}

// ----- References

int scene_state::begin_reference(const QString& ns, const QString& path)
{
    const int previous = reading_;
    references_.append({ns, path, previous});
    reading_ = references_.size() - 1;
    return previous;
}

void scene_state::end_reference(int previous)
{
    reading_ = previous;
}

QString scene_state::reference_namespace() const
{
    return reading_ >= 0 ? references_[reading_].ns : QString();
}

bool scene_state::is_referenced_namespace(const QString& ns) const
{
    for (const reference& r : references_)
        if (ns == r.ns || ns.startsWith(r.ns + ':'))
            return true;
    return false;
}

QString scene_state::node_text() const
{
    QString out;
    QHash<int, QVector<int>> children;
    for (auto it = nodes_.cbegin(); it != nodes_.cend(); ++it)
        children[it.value().parent].append(it.key());
    // Parents before children, each level in creation order.
    QVector<int> order;
    QVector<int> stack;
    const QVector<int>& top = children.value(0);
    for (auto it = top.crbegin(); it != top.crend(); ++it)
        stack.append(*it);
    while (!stack.isEmpty()) {
        const int id = stack.takeLast();
        order.append(id);
        const QVector<int>& below = children.value(id);
        for (auto it = below.crbegin(); it != below.crend(); ++it)
            stack.append(*it);
    }
    for (int id : order) {
        const node& n = nodes_[id];
        if (n.reference >= 0) {
            // The file brings the node; only what changed on it is kept.
            for (const attribute_info& a : transform_attributes)
                if (n.values.contains(QLatin1String(a.long_name)))
                    out += QString("setAttr %1 %2;\n")
                               .arg(mel_quote(path_of(id, true) + '.' + a.short_name),
                                    number_text(n.values.value(QLatin1String(a.long_name))));
            continue;
        }
        out += QString("createNode %1 -n %2").arg(n.type, mel_quote(n.name));
        if (n.parent)
            out += " -p " + mel_quote(path_of(n.parent, true));
        out += ";\n";
        for (const attribute_info& a : transform_attributes)
            if (n.values.contains(QLatin1String(a.long_name)))
                out += QString("\tsetAttr \".%1\" %2;\n")
                           .arg(a.short_name, number_text(n.values.value(QLatin1String(a.long_name))));
    }
    return out;
}

// ----- Namespaces

bool scene_state::is_permanent_namespace(const QString& name)
{
    return permanent_namespaces.contains(name);
}

QString scene_state::resolve_namespace(const QString& name) const
{
    if (name == ":" || name.isEmpty())
        return QString();
    if (name.startsWith(':'))
        return name.mid(1);
    return current_namespace_.isEmpty() ? name : current_namespace_ + ':' + name;
}

bool scene_state::add_namespace(const QString& name, const QString& parent, QString* full, QString* error)
{
    QString base = parent.isNull() ? current_namespace_ : resolve_namespace(parent);
    // A referenced file's namespaces go under the reference's.
    const QString within = reference_namespace();
    if (!within.isEmpty())
        base = base.isEmpty() ? within : within + ':' + base;
    if (!base.isEmpty() && !namespace_exists(base)) {
        if (error)
            *error = QString("Namespace \"%1\" does not exist.").arg(base);
        return false;
    }
    QString rel = strip_root(name);
    if (name.startsWith(':'))
        base = within;
    const QStringList parts = rel.split(':');
    for (const QString& part : parts) {
        if (!is_valid_short_name(part)) {
            if (error)
                *error = QString("Illegal namespace name \"%1\".").arg(name);
            return false;
        }
    }
    QString path = base;
    for (int i = 0; i < parts.size(); ++i) {
        path = path.isEmpty() ? parts[i] : path + ':' + parts[i];
        bool last = i == parts.size() - 1;
        if (namespace_exists(path)) {
            if (last) {
                if (error)
                    *error = QString("Namespace \"%1\" already exists.").arg(path);
                return false;
            }
        } else if (!last) {
            if (error)
                *error = QString("Namespace \"%1\" does not exist.").arg(path);
            return false;
        }
    }
    namespaces_.append(path);
    if (full)
        *full = path;
    return true;
}

bool scene_state::remove_namespace(const QString& name, QString* error)
{
    QString full = resolve_namespace(name);
    if (is_permanent_namespace(full) || !namespace_exists(full)) {
        if (error)
            *error = QString("Namespace \"%1\" cannot be removed.").arg(name);
        return false;
    }
    auto inside = [&full](const QStringList& names) {
        for (const QString& n : names)
            if (n.startsWith(full + ':'))
                return true;
        return false;
    };
    if (inside(namespaces_) || inside(by_name_.keys())) {
        if (error)
            *error = QString("Namespace \"%1\" is not empty.").arg(name);
        return false;
    }
    namespaces_.removeOne(full);
    if (current_namespace_ == full || current_namespace_.startsWith(full + ':'))
        current_namespace_.clear();
    return true;
}

bool scene_state::namespace_exists(const QString& name) const
{
    QString full = strip_root(name);
    return full.isEmpty() || namespaces_.contains(full);
}

QStringList scene_state::child_namespaces(const QString& parent) const
{
    QString base = strip_root(parent);
    QStringList out;
    for (const QString& ns : namespaces_) {
        int colon = ns.lastIndexOf(':');
        QString owner = colon < 0 ? QString() : ns.left(colon);
        if (owner == base)
            out.append(ns);
    }
    return out;
}

bool scene_state::set_current_namespace(const QString& name)
{
    QString full = resolve_namespace(name);
    if (!namespace_exists(full))
        return false;
    current_namespace_ = full;
    return true;
}

// ----- Selection

bool scene_state::parse_item(const QString& item, selected* out) const
{
    const QString text = item.trimmed();
    const int dot = text.indexOf('.');
    if (dot == text.size() - 1)
        return false;
    const int id = find_one(dot < 0 ? text : text.left(dot), nullptr);
    if (!id)
        return false;
    *out = {id, dot < 0 ? QString() : text.mid(dot)};
    return true;
}

QString scene_state::item_text(const selected& item, bool long_names) const
{
    return path_of(item.node, long_names) + item.rest;
}

QStringList scene_state::selection(bool long_names) const
{
    QStringList out;
    out.reserve(selection_.size());
    for (const selected& item : selection_)
        out.append(item_text(item, long_names));
    return out;
}

QStringList scene_state::match(const QString& pattern, QString* error, bool long_names) const
{
    const QString p = pattern.trimmed();
    if (p.isEmpty() || p == ":" || p == "|")
        return {};
    const int dot = p.indexOf('.');
    const QString node_part = dot < 0 ? p : p.left(dot);
    const bool wild = node_part.contains('*') || node_part.contains('?');
    if (dot >= 0 || !wild) {
        // A component or attribute of a node: the node must exist.
        selected item;
        if (wild || !parse_item(p, &item)) {
            if (error)
                find_one(node_part, error);
            return {};
        }
        return {item_text(item, long_names)};
    }
    QStringList out;
    for (int id : find(p, true))
        out.append(path_of(id, long_names));
    return out;
}

QStringList scene_state::list(const QString& pattern, bool long_names) const
{
    const QString p = pattern.trimmed();
    if (p.isEmpty() || p.contains('.'))
        return match(p, nullptr, long_names);
    QStringList out;
    for (int id : find(p, true))
        out.append(path_of(id, long_names));
    return out;
}

bool scene_state::set_selection(const QStringList& items, adjustment how)
{
    QVector<selected> given;
    for (const QString& text : items) {
        selected item;
        if (parse_item(text, &item))
            given.append(item);
    }
    QVector<selected> next = selection_;
    switch (how) {
    case adjustment::replace:
        next.clear();
        for (const selected& item : given)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add:
        for (const selected& item : given)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add_to_head: {
        QVector<selected> head;
        for (const selected& item : given)
            if (!head.contains(item))
                head.append(item);
        for (const selected& item : next)
            if (!head.contains(item))
                head.append(item);
        next = head;
        break;
    }
    case adjustment::remove:
        for (const selected& item : given)
            next.removeAll(item);
        break;
    case adjustment::toggle:
        for (const selected& item : given) {
            if (next.contains(item))
                next.removeAll(item);
            else
                next.append(item);
        }
        break;
    }
    if (next == selection_)
        return false;
    selection_ = next;
    return true;
}

// ----- File info

void scene_state::set_file_info(const QString& key, const QString& value)
{
    for (auto& entry : file_info_) {
        if (entry.first == key) {
            entry.second = value;
            return;
        }
    }
    file_info_.append({key, value});
}

bool scene_state::file_info(const QString& key, QString* value) const
{
    for (const auto& entry : file_info_) {
        if (entry.first == key) {
            if (value)
                *value = entry.second;
            return true;
        }
    }
    return false;
}

bool scene_state::remove_file_info(const QString& key)
{
    for (int i = 0; i < file_info_.size(); ++i) {
        if (file_info_[i].first == key) {
            file_info_.remove(i);
            return true;
        }
    }
    return false;
}

} // namespace sandbox
