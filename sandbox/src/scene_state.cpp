#include "scene_state.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
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
    const char* type;
    double fallback;
};

// The numeric attributes every transform (and joint) has.
const attribute_info transform_attributes[] = {
    {"translateX", "tx", "doubleLinear", 0}, {"translateY", "ty", "doubleLinear", 0},
    {"translateZ", "tz", "doubleLinear", 0}, {"rotateX", "rx", "doubleAngle", 0},
    {"rotateY", "ry", "doubleAngle", 0},     {"rotateZ", "rz", "doubleAngle", 0},
    {"scaleX", "sx", "double", 1},           {"scaleY", "sy", "double", 1},
    {"scaleZ", "sz", "double", 1},           {"visibility", "v", "bool", 1},
};

// The compounds of three that scripts set in one go.
const char* const compounds[][2] = {{"translate", "t"}, {"rotate", "r"}, {"scale", "s"}};

const QStringList attribute_types = {"double", "float", "long", "short", "bool", "enum"};

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

// A bool's bounds are 0 and 1, an enum's its smallest and largest value,
// a number's its minimum and maximum where it has them.
bool scene_state::attribute::bound(bool upper, double* v) const
{
    if (type == "bool") {
        *v = upper ? 1 : 0;
        return true;
    }
    if (type == "enum") {
        if (fields.isEmpty())
            return false;
        *v = fields[0].second;
        for (const auto& f : fields)
            *v = upper ? qMax(*v, double(f.second)) : qMin(*v, double(f.second));
        return true;
    }
    *v = upper ? max : min;
    return upper ? has_max : has_min;
}

bool scene_state::attribute::lowest(double* v) const
{
    return bound(false, v);
}

bool scene_state::attribute::highest(double* v) const
{
    return bound(true, v);
}

QString scene_state::attribute::enum_text() const
{
    QStringList parts;
    int expected = 0;
    for (const auto& f : fields) {
        parts << (f.second == expected ? f.first : f.first + '=' + QString::number(f.second));
        expected = f.second + 1;
    }
    return parts.join(':');
}

bool scene_state::is_attribute_type(const QString& type)
{
    return attribute_types.contains(type);
}

bool scene_state::parse_enum(const QString& text, QVector<QPair<QString, int>>* fields, QString* error)
{
    fields->clear();
    int next = 0;
    const QStringList parts = text.split(':');
    for (const QString& part : parts) {
        if (part.isEmpty())
            continue; // "a:b:" names two
        QString name = part;
        int value = next;
        const int eq = part.indexOf('=');
        if (eq >= 0) {
            name = part.left(eq);
            bool ok = false;
            value = part.mid(eq + 1).trimmed().toInt(&ok);
            if (!ok || value < -32768 || value > 32767) {
                *error = QString("Invalid enum value in \"%1\": enum values are 16-bit integers.").arg(part);
                return false;
            }
        }
        if (name.isEmpty() || name.size() > max_attribute_name) {
            *error = QString("Invalid enum name in \"%1\".").arg(part);
            return false;
        }
        if (fields->size() == max_enum_fields) {
            *error = QString("An enum takes at most %1 names.").arg(max_enum_fields);
            return false;
        }
        fields->append({name, value});
        next = value + 1;
    }
    if (fields->isEmpty()) {
        *error = "No enum names given: use -enumName \"a:b:c\".";
        return false;
    }
    return true;
}

QVector<scene_state::attribute> scene_state::attributes_of(int id) const
{
    QVector<attribute> out;
    const node& n = nodes_[id];
    if (has_attributes(n.type)) {
        for (const attribute_info& info : transform_attributes) {
            attribute a;
            a.long_name = QLatin1String(info.long_name);
            a.short_name = QLatin1String(info.short_name);
            a.type = QLatin1String(info.type);
            a.fallback = info.fallback;
            a.keyable = true;
            out.append(a);
        }
    }
    out += n.added;
    return out;
}

QVector<scene_state::attribute> scene_state::attributes(const QString& node) const
{
    const int id = find_one(node, nullptr);
    return id ? attributes_of(id) : QVector<attribute>();
}

int scene_state::resolve_plug(const QString& plug, QString* attr_name, QString* error) const
{
    const int dot = plug.indexOf('.');
    // A scene file's ".tx" is the node it created last.
    const int id = dot > 0 ? find_one(plug.left(dot), nullptr)
                 : dot == 0 && nodes_.contains(last_created_) ? last_created_ : 0;
    if (!id || dot == plug.size() - 1) {
        if (error)
            *error = no_match(plug);
        return 0;
    }
    *attr_name = plug.mid(dot + 1);
    return id;
}

namespace {

const scene_state::attribute* named(const QVector<scene_state::attribute>& all, const QString& name)
{
    for (const scene_state::attribute& a : all)
        if (a.long_name == name || a.short_name == name)
            return &a;
    return nullptr;
}

// The attributes a plug's name sets: one, or a transform's three.
QVector<const scene_state::attribute*> plug_targets(const QVector<scene_state::attribute>& all, const QString& name,
                                                    bool transform)
{
    if (const scene_state::attribute* a = named(all, name))
        return {a};
    QVector<const scene_state::attribute*> out;
    for (const auto& c : compounds)
        if (transform && (name == QLatin1String(c[0]) || name == QLatin1String(c[1])))
            for (const char* axis : {"X", "Y", "Z"})
                out << named(all, QLatin1String(c[0]) + QLatin1String(axis));
    return out;
}

bool is_whole_type(const QString& type)
{
    return type == "long" || type == "short" || type == "enum";
}

// What an attribute of this type keeps of `v`, or false with *error. Maya
// converts silently where these refuse: a script that passes here sets the
// same value in Maya.
bool checked_value(const scene_state::attribute& a, const QString& plug, double v, double* kept, QString* error)
{
    if (!std::isfinite(v)) {
        *error = QString("%1: values must be finite numbers.").arg(plug);
        return false;
    }
    if (a.type == "bool") {
        *kept = v != 0 ? 1 : 0;
        return true;
    }
    if (is_whole_type(a.type)) {
        const double limit = a.type == "long" ? 2147483647.0 : 32767.0;
        if (v != std::floor(v) || v > limit || v < -limit - 1) {
            *error = QString("%1 is a %2 attribute: %3 is not a whole number it can hold.")
                         .arg(plug, a.type, number_text(v));
            return false;
        }
    }
    if (a.type == "enum") {
        for (const auto& f : a.fields)
            if (f.second == v) {
                *kept = v;
                return true;
            }
        *error = QString("%1 has no enum value %2 (%3).").arg(plug, number_text(v), a.enum_text());
        return false;
    }
    double low = 0, high = 0;
    const bool has_low = a.lowest(&low), has_high = a.highest(&high);
    if ((has_low && v < low) || (has_high && v > high)) {
        *error = QString("%1: value %2 is out of range (%3 to %4).")
                     .arg(plug, number_text(v), has_low ? number_text(low) : QString("-inf"),
                          has_high ? number_text(high) : QString("inf"));
        return false;
    }
    *kept = a.type == "float" ? double(float(v)) : v;
    return true;
}

} // namespace

bool scene_state::add_attribute(const QString& node_name, attribute a, QString* error)
{
    const int id = node_name.isEmpty() ? (nodes_.contains(last_created_) ? last_created_ : 0)
                                       : find_one(node_name, error);
    if (!id) {
        if (node_name.isEmpty())
            *error = "No object was given and nothing is selected.";
        return false;
    }
    node& n = nodes_[id];
    const QString shown = path_of(id, false);
    if (n.reference >= 0 && reading_ < 0) {
        *error = QString("Cannot add an attribute to %1: it is from a referenced file.").arg(shown);
        return false;
    }
    if (a.long_name.isEmpty() && a.short_name.isEmpty()) {
        *error = "Either the longName or the shortName or both must be specified.";
        return false;
    }
    if (a.long_name.isEmpty())
        a.long_name = a.short_name;
    if (a.short_name.isEmpty())
        a.short_name = a.long_name;
    for (const QString& name : {a.long_name, a.short_name}) {
        if (!is_valid_short_name(name) || name.size() > max_attribute_name) {
            *error = QString("'%1' is not a valid attribute name.").arg(name);
            return false;
        }
    }
    const QVector<attribute> existing = attributes_of(id);
    for (const QString& name : {a.long_name, a.short_name}) {
        if (named(existing, name)) {
            *error = QString("Found an attribute named '%1' already on %2.").arg(name, shown);
            return false;
        }
    }
    if (n.added.size() >= max_attributes_per_node) {
        *error = QString("%1 already has %2 added attributes, the most a node may have.")
                     .arg(shown)
                     .arg(max_attributes_per_node);
        return false;
    }
    if (a.type.isEmpty())
        a.type = "double"; // addAttr's type when none is given
    if (!is_attribute_type(a.type)) {
        *error = QString("Unknown attribute type '%1'.").arg(a.type);
        return false;
    }
    if (a.type == "enum" && a.fields.isEmpty()) {
        *error = "No enum names given: use -enumName \"a:b:c\".";
        return false;
    }
    if (a.type != "enum")
        a.fields.clear();
    // A bool's and an enum's bounds are their values; files write an enum's.
    if (a.type == "bool" || a.type == "enum")
        a.has_min = a.has_max = false;
    for (double v : {a.min, a.max, a.fallback}) {
        if (!std::isfinite(v)) {
            *error = "Attribute limits and defaults must be finite numbers.";
            return false;
        }
    }
    if (a.has_min && a.has_max && a.min > a.max) {
        *error = QString("The minimum value %1 is greater than the maximum value %2.")
                     .arg(number_text(a.min), number_text(a.max));
        return false;
    }
    if (a.type == "float") {
        a.min = double(float(a.min));
        a.max = double(float(a.max));
    }
    // An enum without a default starts at its first name.
    if (a.type == "enum" && a.fallback == 0 && !a.fields.isEmpty()) {
        bool zero = false;
        for (const auto& f : std::as_const(a.fields))
            zero = zero || f.second == 0;
        if (!zero)
            a.fallback = a.fields[0].second;
    }
    double kept = 0;
    QString why;
    if (!checked_value(a, a.long_name, a.fallback, &kept, &why)) {
        *error = "-defaultValue: " + why;
        return false;
    }
    a.fallback = kept;
    a.dynamic = true;
    n.added.append(a);
    return true;
}

bool scene_state::delete_attribute(const QString& node_name, const QString& attr, QString* error)
{
    const int id = find_one(node_name, error);
    if (!id)
        return false;
    node& n = nodes_[id];
    const QString shown = path_of(id, false);
    for (int i = 0; i < n.added.size(); ++i) {
        if (n.added[i].long_name != attr && n.added[i].short_name != attr)
            continue;
        if (n.reference >= 0 && reading_ < 0) {
            *error = QString("Cannot delete %1.%2: it is from a referenced file.").arg(shown, attr);
            return false;
        }
        n.values.remove(n.added[i].long_name);
        n.added.remove(i);
        return true;
    }
    if (named(attributes_of(id), attr))
        *error = QString("Cannot delete static attribute '%1' of %2.").arg(attr, shown);
    else
        *error = no_match(shown + '.' + attr);
    return false;
}

bool scene_state::find_attribute(const QString& plug, attribute* out, QString* full_plug, QString* error) const
{
    QString name;
    const int id = resolve_plug(plug, &name, error);
    if (!id)
        return false;
    const QVector<attribute> all = attributes_of(id);
    const attribute* a = named(all, name);
    if (!a) {
        if (error)
            *error = no_match(plug);
        return false;
    }
    if (out)
        *out = *a;
    if (full_plug)
        *full_plug = path_of(id, true) + '.' + a->long_name;
    return true;
}

int scene_state::plug_attributes(const QString& plug, QVector<attribute>* all,
                                 QVector<const attribute*>* targets, QString* error) const
{
    QString name;
    const int id = resolve_plug(plug, &name, error);
    if (!id)
        return 0;
    *all = attributes_of(id);
    *targets = plug_targets(*all, name, has_attributes(nodes_[id].type));
    if (targets->isEmpty()) {
        if (error)
            *error = no_match(plug);
        return 0;
    }
    return id;
}

bool scene_state::set_attribute(const QString& plug, const QVector<double>& values, QString* error,
                                QStringList* changed)
{
    QVector<attribute> all;
    QVector<const attribute*> targets;
    const int id = plug_attributes(plug, &all, &targets, error);
    if (!id)
        return false;
    if (values.size() != targets.size()) {
        if (error)
            *error = QString("%1 takes %2 value(s), not %3.").arg(plug).arg(targets.size()).arg(values.size());
        return false;
    }
    // Every value is checked before any is kept.
    QVector<double> kept(values.size());
    for (int i = 0; i < values.size(); ++i) {
        QString why;
        if (!checked_value(*targets[i], plug, values[i], &kept[i], &why)) {
            if (error)
                *error = why;
            return false;
        }
    }
    node& n = nodes_[id];
    for (int i = 0; i < targets.size(); ++i) {
        if (kept[i] == targets[i]->fallback)
            n.values.remove(targets[i]->long_name);
        else
            n.values.insert(targets[i]->long_name, kept[i]);
    }
    if (changed)
        for (const attribute* a : std::as_const(targets))
            changed->append(path_of(id, true) + '.' + a->long_name);
    return true;
}

bool scene_state::get_attribute(const QString& plug, QVector<double>* values, QString* error) const
{
    QVector<attribute> all;
    QVector<const attribute*> targets;
    const int id = plug_attributes(plug, &all, &targets, error);
    if (!id)
        return false;
    const node& n = nodes_[id];
    values->clear();
    for (const attribute* a : std::as_const(targets))
        values->append(n.values.value(a->long_name, a->fallback));
    return true;
}

QStringList scene_state::changed_plugs(const scene_state& other) const
{
    QStringList out;
    for (auto it = nodes_.cbegin(); it != nodes_.cend(); ++it) {
        const auto there = other.nodes_.constFind(it.key());
        if (there == other.nodes_.cend())
            continue;
        const QVector<attribute> theirs = other.attributes_of(it.key());
        for (const attribute& a : attributes_of(it.key())) {
            const attribute* b = named(theirs, a.long_name);
            if (b && it->values.value(a.long_name, a.fallback) != there->values.value(b->long_name, b->fallback))
                out << path_of(it.key(), true) + '.' + a.long_name;
        }
    }
    return out;
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
        const QVector<attribute> all = attributes_of(id);
        if (n.reference >= 0) {
            // The file brings the node; only what changed on it is kept.
            for (const attribute& a : all)
                if (n.values.contains(a.long_name))
                    out += QString("setAttr %1 %2;\n")
                               .arg(mel_quote(path_of(id, true) + '.' + a.short_name),
                                    number_text(n.values.value(a.long_name)));
            continue;
        }
        out += QString("createNode %1 -n %2").arg(n.type, mel_quote(n.name));
        if (n.parent)
            out += " -p " + mel_quote(path_of(n.parent, true));
        out += ";\n";
        for (const attribute& a : n.added) {
            out += "\taddAttr -ci true";
            if (a.keyable)
                out += " -k true";
            out += QString(" -sn %1 -ln %2").arg(mel_quote(a.short_name), mel_quote(a.long_name));
            double low = 0, high = 0;
            if (a.type != "bool" && a.lowest(&low))
                out += " -min " + number_text(low);
            if (a.type != "bool" && a.highest(&high))
                out += " -max " + number_text(high);
            if (a.fallback != 0)
                out += " -dv " + number_text(a.fallback);
            if (a.type == "enum")
                out += " -en " + mel_quote(a.enum_text());
            out += QString(" -at %1;\n").arg(mel_quote(a.type));
        }
        for (const attribute& a : all)
            if (n.values.contains(a.long_name))
                out += QString("\tsetAttr \".%1\" %2;\n").arg(a.short_name, number_text(n.values.value(a.long_name)));
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
