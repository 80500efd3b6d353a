// The sandbox host: the part of Maya that the plug-in touches, as one
// process-wide object. The Maya API classes of <maya/...> are implemented on
// top of it; the application and the tests drive it directly.
#pragma once

#include <sandbox/mel.h>

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>
#include <functional>
#include <memory>

class QWidget;

namespace sandbox {

enum class log_kind {
    print,   // MEL print: the text exactly as printed
    info,    // displayInfo
    warning, // displayWarning and MEL warning
    error,   // displayError and MEL errors
    result,  // a result echoed by the console
    echo,    // a command echoed because display was enabled
    python   // a Python text run from the idle queue
};

struct log_entry {
    log_kind kind;
    QString text;
    // The text as the script output shows it ("// Error: ...").
    QString formatted() const;
};

// Scene messages (MSceneMessage) share the callback list under these names,
// which no event callback can ask for.
namespace scene_events {
const char* const before_new = "scene:BeforeNew";
const char* const after_new = "scene:AfterNew";
const char* const before_open = "scene:BeforeOpen";
const char* const after_open = "scene:AfterOpen";
const char* const before_save = "scene:BeforeSave";
const char* const after_save = "scene:AfterSave";
} // namespace scene_events

// How an add to the active selection combines with what is there.
enum class adjustment { replace, toggle, add, remove, add_to_head };

// Host calls that a test can make fail.
enum class fault {
    register_command,
    deregister_command,
    add_event_callback,
    remove_callback,
    get_active_selection_list,
    select_by_name
};

class host {
public:
    static host& instance();

    host(const host&) = delete;
    host& operator=(const host&) = delete;

    // Back to a fresh session: new empty scene without firing events, no
    // queued texts, no faults, an empty log, not batch, an empty undo queue
    // and no script jobs. Plug-ins stay loaded.
    void reset();

    // ----- MEL
    mel::interpreter& interpreter();
    // Runs MEL now; false when an error stopped it. With echo the text is
    // logged first and a result is logged as "// Result: ... //".
    bool execute(const QString& text, mel::value* result = nullptr, bool echo = false);

    // ----- Python: one embedded interpreter, started on first use, whose
    // __main__ is shared by every run as in Maya's script editor. An
    // expression gives its value in *result (converted as Maya's python
    // command converts it), statements and None give none. False when an
    // exception escaped; it is reported in the script output as an error.
    // With echo the text is logged first and a result after it. A file name
    // makes errors say where in that file they happened.
    bool execute_python(const QString& text, mel::value* result = nullptr, bool echo = false,
                        const QString& file = QString());
    bool python_started() const;

    // ----- Script output
    void log(log_kind kind, const QString& text);
    const QVector<log_entry>& output() const;
    QString output_text() const; // every entry formatted, one per line
    void clear_output();
    int error_count() const;     // errors logged since the last clear
    std::function<void(const log_entry&)> on_output;

    // ----- Idle queue (FIFO; a drain runs texts queued while draining too)
    void queue_idle(const QString& text, bool python, bool display);
    int idle_pending() const;
    QStringList idle_texts() const; // what is queued, in order
    // Runs queued texts until none are left; stops with an error after
    // max_idle_drain of them and drops the rest. Returns how many ran.
    int drain_idle();
    static constexpr int max_idle_drain = 10000;
    std::function<void()> on_idle_queued; // the application schedules a drain

    // ----- Events
    bool is_known_event(const QString& event) const;
    std::uintptr_t add_callback(const QString& event, void (*fn)(void*), void* data);
    bool remove_callback(std::uintptr_t id);
    void fire(const QString& event);
    int callback_count(const QString& event) const;

    // ----- Scene: nodes. Names are DAG paths ("grp1|ctl", "|grp1|ctl",
    // "hero:rig|hero:ctl"); a name that could mean two nodes means none.
    // Creates a node, under `parent` when given (DAG nodes only); a name
    // taken among its siblings or empty gets Maya's numbered name. Returns
    // its shortest unique path, or an empty string with *error set.
    QString create_node(const QString& type, const QString& name, QString* error,
                        const QString& parent = QString());
    // Moves a DAG node under another (an empty parent: the world).
    // *now: the child's shortest unique path afterwards.
    bool parent_node(const QString& child, const QString& parent, QString* error, QString* now = nullptr);
    // Deletes the node and every node below it.
    bool delete_node(const QString& name, QString* error = nullptr);
    bool node_exists(const QString& name) const;
    QString node_type(const QString& name) const;
    // Every node in creation order, by shortest unique path (what `ls`
    // prints) or by full path ("|grp1|ctl"; non-DAG nodes by their name).
    QStringList nodes(bool long_names = false) const;
    // The full path of the one node a name stands for; empty with *error.
    QString long_name(const QString& name, QString* error = nullptr) const;
    // Numeric attributes by "node.attribute" (short or long attribute names;
    // translate/rotate/scale take three values), typed and limited as the
    // attribute says. A change queues the -attributeChange jobs watching it.
    bool set_attribute(const QString& plug, const QVector<double>& values, QString* error);
    bool get_attribute(const QString& plug, QVector<double>* values, QString* error) const;
    // Loads a scene file's nodes under a namespace (`ns`, or the file's
    // base name; a taken one is numbered); *used says which it got.
    bool reference_file(const QString& path, const QString& ns, QString* used, QString* error);
    // The namespaces of the references, in the order they were loaded.
    QStringList reference_namespaces() const;

    // ----- Scene: namespaces (full names without the leading ':'; "" is root)
    bool add_namespace(const QString& name, const QString& parent, QString* full, QString* error);
    bool remove_namespace(const QString& name, QString* error);
    bool namespace_exists(const QString& name) const;
    QStringList child_namespaces(const QString& parent) const; // full names, creation order
    QStringList all_namespaces() const;                        // user namespaces, creation order
    QString current_namespace() const;
    bool set_current_namespace(const QString& name);
    // Resolves a name relative to the current namespace (":a" is absolute).
    QString resolve_namespace(const QString& name) const;

    // ----- Scene: selection
    // Shortest unique paths (or full paths), worked out when asked.
    QStringList selection(bool long_names = false) const;
    // Items that a name or pattern stands for: a node's name or path
    // (exactly one node: an ambiguous name gives nothing and an error),
    // '*'/'?' patterns matched part by part against paths (they never cross
    // a ':'), or components of existing nodes.
    QStringList match(const QString& pattern, QString* error = nullptr, bool long_names = false) const;
    // Every node a name or pattern matches, as `ls` lists them: an
    // ambiguous name gives each node it could mean.
    QStringList list(const QString& pattern, bool long_names = false) const;
    // Changes the active list; fires "SelectionChanged" once when it changed.
    void set_selection(const QStringList& items, adjustment how);
    void clear_selection();

    // ----- Scene: file info, modified flag, file name
    void set_file_info(const QString& key, const QString& value);
    bool file_info(const QString& key, QString* value) const;
    bool remove_file_info(const QString& key);
    QVector<QPair<QString, QString>> file_info_table() const;
    bool modified() const;
    void set_modified(bool on);
    QString scene_name() const;
    void set_scene_name(const QString& path);

    // New scene: "deleteAll", empty scene, "NewSceneOpened".
    void new_scene();
    // Open: "deleteAll", read the file, "SceneOpened". A file that cannot be
    // read changes nothing.
    bool open_scene(const QString& path, QString* error);
    bool save_scene(const QString& path, QString* error);
    QString scene_text() const;
    // "quitApplication".
    void quit();

    // ----- Undo queue: what the undo command would take back. MEL's undo,
    // redo, undoInfo and flushUndo drive it.
    int undo_steps() const;
    QString undo_name() const;
    void flush_undo();

    // ----- Plug-ins
    bool load_plugin(const QString& path, QString* name, QString* error);
    // A plug-in whose code is linked into this process (tests): registered
    // under `name` as if loaded from `path`, through the given entry points.
    using entry_point = void*; // MStatus (*)(MObject)
    bool load_linked_plugin(const QString& name, const QString& path, entry_point init,
                            entry_point uninit, QString* error);
    bool unload_plugin(const QString& name, QString* error);
    QStringList plugins() const;
    QString plugin_path(const QString& name) const;

    // ----- Application state
    void set_batch(bool on);
    bool batch() const;
    void set_main_window(QWidget* window);
    QWidget* main_window() const;
    // The workspace controls that exist, by name.
    QStringList workspace_controls() const;
    // A restart with the saved workspace: "quitApplication", then each
    // control comes back empty and its uiScript fills it, at once when it
    // is open, when next shown when it is closed. The scene stays.
    void restore_workspace();

    // ----- Fault injection: the call after `after` successful ones fails once.
    void inject_fault(fault which, int after = 0);
    bool take_fault(fault which);
    void clear_faults();

    struct impl;
    impl& data();

private:
    host();
    ~host();
    std::unique_ptr<impl> d;
};

// MEL-string escaping as scene files write values.
QString mel_quote(const QString& text);

} // namespace sandbox
