// What the scene holds: nodes, namespaces, the active selection, file info
// and the flags of the scene file. Plain data and Maya's rules for it; the
// host fires the events that changes to it cause.
#pragma once

#include <sandbox/host.h>

#include <QHash>
#include <QMap>

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

    // ----- Nodes. Names are DAG paths: '|'-separated parts, each with its
    // namespaces ("hero:grp|hero:ctl"); a leading '|' anchors at the world.
    // A part of a name that could mean more than one node is refused.
    //
    // Creates a node under `parent` (a name; empty: the world). Returns the
    // shortest unique path of the new node, or an empty string with *error.
    QString create_node(const QString& type, const QString& name, const QString& parent, QString* error);
    // False with *error when a name does not name exactly one node, the
    // child is no DAG node, or the new parent is the child or below it.
    bool parent_node(const QString& child, const QString& parent, QString* error, QString* now = nullptr);
    // False when there is no such node. Drops the node, the nodes below it,
    // and their components from the selection; *selection_changed says
    // whether that changed it.
    bool delete_node(const QString& name, bool* selection_changed, QString* error = nullptr);
    bool node_exists(const QString& name) const;
    QString node_type(const QString& name) const;
    // Every node in creation order, by shortest unique path or full path.
    QStringList nodes(bool long_names = false) const;
    // The node a name stands for: its full path (non-DAG nodes: their name),
    // or an empty string with "No object matches name: ..." or "More than
    // one object matches name: ..." in *error.
    QString long_name(const QString& name, QString* error = nullptr) const;
    QString short_name(const QString& name) const;
    static bool is_dag_type(const QString& type);

    // ----- Attributes: the numeric attributes transforms are made with and
    // the dynamic ones addAttr gives any node, by "node.attr" (long or short
    // attribute name).
    struct attribute {
        QString long_name;
        QString short_name;
        QString type; // Maya's name: double, float, long, short, bool, enum, doubleLinear, doubleAngle
        bool has_min = false;
        bool has_max = false;
        double min = 0;
        double max = 0;
        double fallback = 0; // the default value
        QVector<QPair<QString, int>> fields; // an enum's names and values
        bool keyable = false;
        bool dynamic = false;
        // The lowest and highest value the attribute takes, when bounded.
        bool lowest(double* v) const;
        bool highest(double* v) const;
        bool bound(bool upper, double* v) const;
        // "a:b=5" as addAttr -enumName takes it.
        QString enum_text() const;
    };
    // Bounds that keep a hostile scene file from growing a node without end.
    static constexpr int max_attributes_per_node = 1000;
    static constexpr int max_enum_fields = 1000;
    static constexpr int max_attribute_name = 255;
    static bool is_attribute_type(const QString& type);
    // Parses "a:b:c" or "a=0:b=5"; false with *error when it names nothing
    // or a value is not a 16-bit integer.
    static bool parse_enum(const QString& text, QVector<QPair<QString, int>>* fields, QString* error);

    // Adds a dynamic attribute; an empty node name is the node created last
    // (a scene file's addAttr after its createNode).
    bool add_attribute(const QString& node, attribute a, QString* error);
    bool delete_attribute(const QString& node, const QString& attr, QString* error);
    // The attribute a plug names and the plug's full path ("|grp|ctl.translateX").
    bool find_attribute(const QString& plug, attribute* out, QString* full_plug, QString* error) const;
    // *changed: the full plug of each attribute set.
    bool set_attribute(const QString& plug, const QVector<double>& values, QString* error,
                       QStringList* changed = nullptr);
    bool get_attribute(const QString& plug, QVector<double>* values, QString* error) const;
    // The node's attributes, the built-in ones first.
    QVector<attribute> attributes(const QString& node) const;
    // The plugs ("|grp|ctl.translateX") whose value differs between the
    // two scenes, among the nodes and attributes both have.
    QStringList changed_plugs(const scene_state& other) const;

    // ----- References: a file's nodes loaded under a namespace, kept out
    // of the scene's own file and read again whenever the scene is opened.
    struct reference {
        QString ns;      // full namespace
        QString path;    // as given
        int parent = -1; // the reference whose file referenced this one
    };
    const QVector<reference>& references() const { return references_; }
    // While a referenced file is read: the namespace its names go under and
    // its index, or -1 when the scene's own names are being made.
    // begin_reference returns what end_reference takes back.
    int begin_reference(const QString& ns, const QString& path);
    void end_reference(int previous);
    // The namespace the names of the file being read go under.
    QString reference_namespace() const;
    bool reading_reference() const { return reading_ >= 0; }
    // Whether a node or namespace came from a referenced file.
    bool is_referenced_namespace(const QString& ns) const;
    // The node's file text: parents before children, then attribute
    // values; referenced nodes give only their changed values.
    QString node_text() const;

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
    // Items by shortest unique path (or full path), worked out when asked:
    // a change to the scene can make a name ambiguous that was not.
    QStringList selection(bool long_names = false) const;
    // What a name or pattern stands for, by shortest unique path: a name
    // matching more than one node gives nothing and an error.
    QStringList match(const QString& pattern, QString* error = nullptr, bool long_names = false) const;
    // Every node a name or pattern matches, ambiguous or not, as `ls` lists.
    QStringList list(const QString& pattern, bool long_names) const;
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
    struct node {
        QString name;  // the last part of its path
        QString type;
        int parent = 0; // 0: the world (and every non-DAG node)
        int reference = -1;
        QMap<QString, double> values; // attributes away from their defaults, by long name
        QVector<attribute> added;     // dynamic attributes, in the order added
    };
    struct selected {
        int node;
        QString rest; // ".vtx[0:3]" of a component, else empty
        bool operator==(const selected& o) const { return node == o.node && rest == o.rest; }
    };
    QVector<int> find(const QString& path, bool wildcards) const;
    int find_one(const QString& name, QString* error) const;
    QString path_of(int id, bool long_name) const;
    QString item_text(const selected& item, bool long_names) const;
    bool is_below(int id, int ancestor) const;
    QString free_name(const QString& wanted, int parent, bool dag) const;
    QString in_reference(const QString& name) const;
    // The node of a plug and its attribute; 0 with *error when either is missing.
    int resolve_plug(const QString& plug, QString* attr_name, QString* error) const;
    QVector<attribute> attributes_of(int id) const;
    // The node of a plug and the attributes it names (one, or a compound's
    // children, pointing into *all); 0 with *error when there are none.
    int plug_attributes(const QString& plug, QVector<attribute>* all, QVector<const attribute*>* targets,
                        QString* error) const;
    bool parse_item(const QString& item, selected* out) const;

    // Ids count up, so the map's order is the order of creation. Plain
    // values throughout: a copy of the state is a snapshot of the scene.
    QMap<int, node> nodes_;
    QHash<QString, QVector<int>> by_name_;
    int next_id_ = 1;
    int last_created_ = 0;
    QVector<reference> references_;
    int reading_ = -1;
    QStringList namespaces_; // full names, creation order; the permanent ones first
    QString current_namespace_;
    QVector<selected> selection_;
    QVector<QPair<QString, QString>> file_info_;
};

} // namespace sandbox
