// What the API implementation files share about the host's insides.
#pragma once

#include "event_bus.h"
#include "fault_injector.h"
#include "idle_queue.h"
#include "scene_state.h"
#include "script_log.h"
#include "undo_queue.h"

#include <sandbox/host.h>

#include <maya/MArgList.h>
#include <maya/MObject.h>
#include <maya/MPlugin.h>
#include <maya/MSelectionList.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

#include <QHash>
#include <QPointer>
#include <QWidget>

#include <string>
#include <vector>

namespace sandbox {

struct plugin_record {
    QString name;
    QString path;
    void* handle = nullptr; // null for a plug-in linked into the process
    const void* base = nullptr; // where the module is mapped; null when linked
    void* init = nullptr;
    void* uninit = nullptr;
    QStringList commands;
    bool initializing = false;
};

struct plugin_command {
    MCreatorFunction creator = nullptr;
    plugin_record* owner = nullptr;
};

// What the running plug-in command has set as its result.
struct command_result {
    enum kind_t { none, single, array } kind = none;
    QStringList values;
};

// Loaded plug-ins and the commands they registered.
struct plugin_registry {
    std::vector<std::unique_ptr<plugin_record>> loaded;
    QHash<QString, plugin_command> commands;
    QVector<command_result> results; // one for each plug-in command running, innermost last

    plugin_record* find(const QString& name) const;
    // The loaded module that holds the code at `address`; empty when none does.
    QString module_of(const void* address) const;
    // Whose code is running: the plug-in of each entry point, command and
    // callback on the way in, innermost last ("" for the host's own).
    QStringList running;
};

// Marks a plug-in's code as running for as long as it lives, so that what
// the code adds to the host is put down to that plug-in.
class plugin_scope {
public:
    plugin_scope(plugin_registry& plugins, const QString& name) : plugins_(plugins) { plugins_.running.append(name); }
    ~plugin_scope() { plugins_.running.removeLast(); }
    plugin_scope(const plugin_scope&) = delete;
    plugin_scope& operator=(const plugin_scope&) = delete;

private:
    plugin_registry& plugins_;
};

// MEL script jobs: scripts run when an event fires, or at the next idle
// moment after an attribute's value changed.
struct script_job {
    int number;
    QString script;
    std::uintptr_t callback;
    QString plug;         // an -attributeChange job's plug as given; empty for events
    bool pending = false; // queued for idle: more changes before then run it once
};

struct script_jobs {
    std::vector<std::unique_ptr<script_job>> jobs;
    int next = 1;
};

// The host's jobs, each in its own part; host.cpp wires them together.
struct host::impl {
    mel::interpreter interp;
    script_log log;
    idle_queue idle;
    event_bus events;
    scene_state scene;
    plugin_registry plugins;
    fault_injector faults;
    undo_queue undo;
    script_jobs jobs;

    bool batch = false;
    QPointer<QWidget> main_window;
    // The events whose callbacks are running, innermost last, and what
    // watches for a dialog opened inside one of them.
    QStringList firing;
    QPointer<QObject> dialog_watch;
};

// Reaches the private data behind the API objects.
} // namespace sandbox

OPENMAYA_MAJOR_NAMESPACE_OPEN
struct MSandboxAccess {
    // One argument of a command: exactly one of the payloads, by kind.
    struct arg {
        enum kind_t { string, integer, number, boolean, string_array } kind = string;
        std::string text;
        int i = 0;
        double d = 0.0;
        bool b = false;
        std::vector<std::string> items;
    };
    static std::vector<arg>& args(MArgList& list);
    static const std::vector<arg>& args(const MArgList& list);
    static std::vector<QString>& items(MSelectionList& list);
    static const std::vector<QString>& items(const MSelectionList& list);
    static MObject plugin_object(sandbox::plugin_record* record);
    static sandbox::plugin_record* plugin(const MObject& object);
};
OPENMAYA_NAMESPACE_CLOSE
using Autodesk::Maya::OpenMaya20220000::MSandboxAccess;

namespace sandbox {
QString to_qstring(const MString& s);
MString to_mstring(const QString& s);
QStringList to_qstringlist(const MStringArray& a);
MStringArray to_mstringarray(const QStringList& l);

// Installs the built-in MEL commands on the interpreter.
void install_builtin_commands(host& h, mel::interpreter& interp);
// 1 when a built-in command's flag takes a value, 0 when it stands alone,
// -1 when the command or the flag is not known.
int builtin_flag_takes_value(const QString& command, const QString& flag);
// The embedded Python interpreter behind host::execute_python.
bool run_python(host& h, const QString& text, const QString& file, mel::value* result);
bool python_running();
// The undo queue's commands (undo, redo, undoInfo, flushUndo) and scriptJob.
void install_undo_commands(host& h, mel::interpreter& interp);
int undo_flag_takes_value(const QString& command, const QString& flag);
// workspaceControl, deleteUI and sandboxRestoreWorkspace.
void install_workspace_commands(host& h, mel::interpreter& interp);
int workspace_flag_takes_value(const QString& command, const QString& flag);
// The widget a workspace control holds its content in; null when none has the name.
QWidget* find_control(const QString& name);
// Deletes the workspace controls a plug-in made; returns their names.
QStringList drop_workspace_controls(const QString& owner);
void kill_script_jobs(host& h);
// Queues the -attributeChange jobs watching a plug ("|grp|ctl.translateX").
void notify_attribute_change(host& h, const QString& full_plug);
// Kills the -attributeChange jobs whose node or attribute is gone, as Maya does.
void kill_orphaned_attribute_jobs(host& h);
// Runs a command that changes the scene; while the queue records, what it
// changed becomes one undoable change named `name`.
mel::value record_scene_change(host& h, const QString& name, const std::function<mel::value()>& run);
// A command and its arguments as the undo queue names it ("select -r a").
QString command_text(const QString& name, const QVector<mel::value>& args);
// Runs a plug-in command from MEL.
mel::value run_plugin_command(host& h, const QString& name, const QVector<mel::value>& args);
} // namespace sandbox
