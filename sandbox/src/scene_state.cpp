#include "scene_state.h"

#include <QRegularExpression>

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
    node_order_.clear();
    node_types_.clear();
    namespaces_ = permanent_namespaces;
    current_namespace_.clear();
    selection_.clear();
    file_info_.clear();
    modified = false;
    file_name.clear();
    units = scene_units();
}

// ----- Nodes

QString scene_state::create_node(const QString& type, const QString& name, QString* error)
{
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
    QString candidate = prefix + shortName;
    if (node_types_.contains(candidate)) {
        QString base = shortName;
        while (!base.isEmpty() && base.back().isDigit())
            base.chop(1);
        for (int n = 1;; ++n) {
            candidate = prefix + base + QString::number(n);
            if (!node_types_.contains(candidate))
                break;
        }
    }
    node_order_.append(candidate);
    node_types_.insert(candidate, type);
    return candidate;
}

bool scene_state::delete_node(const QString& name, bool* selection_changed)
{
    *selection_changed = false;
    QString full = strip_root(name);
    if (!node_types_.remove(full))
        return false;
    node_order_.removeOne(full);
    QStringList kept;
    for (const QString& item : selection_)
        if (item != full && !item.startsWith(full + '.'))
            kept.append(item);
    if (kept != selection_) {
        selection_ = kept;
        *selection_changed = true;
    }
    return true;
}

bool scene_state::node_exists(const QString& name) const
{
    return node_types_.contains(strip_root(name));
}

QString scene_state::node_type(const QString& name) const
{
    return node_types_.value(strip_root(name));
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
    if (!base.isEmpty() && !namespace_exists(base)) {
        if (error)
            *error = QString("Namespace \"%1\" does not exist.").arg(base);
        return false;
    }
    QString rel = strip_root(name);
    if (name.startsWith(':'))
        base.clear();
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
    if (inside(namespaces_) || inside(node_order_)) {
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

QStringList scene_state::match(const QString& pattern) const
{
    QString p = strip_root(pattern.trimmed());
    if (p.isEmpty())
        return {};
    int dot = p.indexOf('.');
    if (dot >= 0) {
        // A component or attribute of a node: the node must exist.
        QString node = p.left(dot);
        if (node.contains('*') || node.contains('?') || !node_exists(node) || dot == p.size() - 1)
            return {};
        return {p};
    }
    if (!p.contains('*') && !p.contains('?'))
        return node_exists(p) ? QStringList{p} : QStringList{};
    QRegularExpression rx = wildcard(p);
    QStringList out;
    for (const QString& node : node_order_)
        if (rx.match(node).hasMatch())
            out.append(node);
    return out;
}

bool scene_state::set_selection(const QStringList& items, adjustment how)
{
    QStringList next = selection_;
    switch (how) {
    case adjustment::replace:
        next.clear();
        for (const QString& item : items)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add:
        for (const QString& item : items)
            if (!next.contains(item))
                next.append(item);
        break;
    case adjustment::add_to_head: {
        QStringList head;
        for (const QString& item : items)
            if (!head.contains(item))
                head.append(item);
        for (const QString& item : next)
            if (!head.contains(item))
                head.append(item);
        next = head;
        break;
    }
    case adjustment::remove:
        for (const QString& item : items)
            next.removeAll(item);
        break;
    case adjustment::toggle:
        for (const QString& item : items) {
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
