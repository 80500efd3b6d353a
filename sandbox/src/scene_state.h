// What the scene holds: nodes, namespaces, the active selection, file info
// and the flags of the scene file. Plain data and Maya's rules for it; the
// host fires the events that changes to it cause.
#pragma once

#include <sandbox/host.h>

#include <QHash>

namespace sandbox {

struct scene_units {
    QString linear = "centimeter";
    QString angle = "degree";
    QString time = "film";
};

class scene_state {
public:
    scene_state() { reset(); }
    // An empty scene: no nodes, only the permanent namespaces, no file info,
    // unmodified and untitled.
    void reset();

    // ----- Nodes (full names without the leading ':')
    QString create_node(const QString& type, const QString& name, QString* error);
    // False when there is no such node. Drops the node and its components
    // from the selection; *selection_changed says whether that changed it.
    bool delete_node(const QString& name, bool* selection_changed);
    bool node_exists(const QString& name) const;
    QString node_type(const QString& name) const;
    const QStringList& nodes() const { return node_order_; }

    // ----- Namespaces ("" is the root)
    bool add_namespace(const QString& name, const QString& parent, QString* full, QString* error);
    bool remove_namespace(const QString& name, QString* error);
    bool namespace_exists(const QString& name) const;
    QStringList child_namespaces(const QString& parent) const;
    const QStringList& namespaces() const { return namespaces_; }
    const QString& current_namespace() const { return current_namespace_; }
    bool set_current_namespace(const QString& name);
    QString resolve_namespace(const QString& name) const;
    // "UI" and "shared": always there, never removed, never written to a file.
    static bool is_permanent_namespace(const QString& name);

    // ----- Selection
    const QStringList& selection() const { return selection_; }
    QStringList match(const QString& pattern) const;
    // True when the active list changed.
    bool set_selection(const QStringList& items, adjustment how);

    // ----- File info, in the order the keys were first set
    void set_file_info(const QString& key, const QString& value);
    bool file_info(const QString& key, QString* value) const;
    bool remove_file_info(const QString& key);
    const QVector<QPair<QString, QString>>& file_info_table() const { return file_info_; }

    // ----- Flags with no rules of their own
    bool modified = false;
    QString file_name;    // absolute; empty while untitled
    scene_units units;
    bool loading = false; // reading a scene file: nodes are not selected

private:
    QStringList node_order_;
    QHash<QString, QString> node_types_;
    QStringList namespaces_; // full names, creation order; the permanent ones first
    QString current_namespace_;
    QStringList selection_;
    QVector<QPair<QString, QString>> file_info_;
};

} // namespace sandbox
