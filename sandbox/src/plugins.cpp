// Loading plug-in modules through their entry points, and running the
// commands they register.
#include "host_private.h"

#include <maya/MFnPlugin.h>
#include <maya/MPxCommand.h>

#include <QFileInfo>

#include <dlfcn.h>

#include <exception>

namespace sandbox {

namespace {

// The entry points have C++ linkage and take an MObject of the API's
// versioned namespace, so they are looked up by their mangled names.
const char* const init_symbol = "_Z16initializePluginN8Autodesk4Maya16OpenMaya202200007MObjectE";
const char* const uninit_symbol =
    "_Z18uninitializePluginN8Autodesk4Maya16OpenMaya202200007MObjectE";
using entry_fn = MStatus (*)(MObject);

// Removes what a plug-in still has installed after its entry point has
// returned, and says so as an error: Maya would go on calling into a module
// that is gone, or running a command whose code is gone.
void drop_leftovers(host& h, plugin_record* record, const QString& when)
{
    auto& d = h.data();
    QVector<std::uintptr_t> stale;
    QStringList events;
    for (const callback_record& c : d.events.records()) {
        if (c.owner == record->name) {
            stale.append(c.id);
            events.append(event_bus::display_name(c.event));
        }
    }
    for (std::uintptr_t id : stale)
        h.remove_callback(id);
    if (!stale.isEmpty())
        h.log(log_kind::error, QString("plug-in %1 left %2 callback%3 installed %4 (%5); the host removed %6.")
                                   .arg(record->name)
                                   .arg(stale.size())
                                   .arg(stale.size() == 1 ? "" : "s", when, events.join(", "),
                                        stale.size() == 1 ? "it" : "them"));
    const QStringList controls = drop_workspace_controls(record->name);
    if (!controls.isEmpty())
        h.log(log_kind::error, QString("plug-in %1 left %2 workspace control%3 %4 (%5); the host deleted %6.")
                                   .arg(record->name)
                                   .arg(controls.size())
                                   .arg(controls.size() == 1 ? "" : "s", when, controls.join(", "),
                                        controls.size() == 1 ? "it" : "them"));
    const QStringList commands = record->commands;
    for (const QString& name : commands) {
        d.plugins.commands.remove(name);
        d.interp.unregister_command(name);
    }
    record->commands.clear();
    if (!commands.isEmpty())
        h.log(log_kind::error, QString("plug-in %1 left %2 command%3 registered %4 (%5); the host removed %6.")
                                   .arg(record->name)
                                   .arg(commands.size())
                                   .arg(commands.size() == 1 ? "" : "s", when, commands.join(", "),
                                        commands.size() == 1 ? "it" : "them"));
}

// Runs an entry point of the plug-in as its own code; a thrown exception is
// reported and counts as a failure.
MStatus run_entry(host& h, plugin_record* record, void* entry, const char* what)
{
    plugin_scope scope(h.data().plugins, record->name);
    try {
        return reinterpret_cast<entry_fn>(entry)(MSandboxAccess::plugin_object(record));
    } catch (const std::exception& e) {
        h.log(log_kind::error, QString("%1 of %2 threw: %3").arg(what, record->name, e.what()));
    } catch (...) {
        h.log(log_kind::error, QString("%1 of %2 threw an exception").arg(what, record->name));
    }
    return MStatus::kFailure;
}

// Makes the record and runs initializePlugin; a failing plug-in leaves
// nothing registered behind and its module is closed again.
bool start_plugin(host& h, const QString& name, const QString& path, void* handle, void* init,
                  void* uninit, QString* error)
{
    auto& d = h.data();
    auto record = std::make_unique<plugin_record>();
    record->name = name;
    record->path = path;
    record->handle = handle;
    record->init = init;
    record->uninit = uninit;
    if (handle) {
        Dl_info info;
        if (dladdr(init, &info))
            record->base = info.dli_fbase;
    }
    plugin_record* raw = record.get();
    d.plugins.loaded.push_back(std::move(record));

    if (run_entry(h, raw, init, "initializePlugin"))
        return true;
    drop_leftovers(h, raw, "after its initializePlugin failed");
    auto& loaded = d.plugins.loaded;
    for (auto it = loaded.begin(); it != loaded.end(); ++it) {
        if (it->get() == raw) {
            loaded.erase(it);
            break;
        }
    }
    if (handle)
        dlclose(handle);
    if (error)
        *error = QString("initializePlugin function failed (%1)").arg(name);
    return false;
}

// An undoable plug-in command kept on the undo queue; deleted when the
// queue drops it.
class plugin_step : public undo_action {
public:
    plugin_step(MPxCommand* command, const QString& name) : command_(command), name_(name) {}
    ~plugin_step() override { delete command_; }
    void undo(host& h) override { call(h, &MPxCommand::undoIt, "undoIt"); }
    void redo(host& h) override { call(h, &MPxCommand::redoIt, "redoIt"); }

private:
    void call(host& h, MStatus (MPxCommand::*fn)(), const char* what)
    {
        QString why;
        try {
            if ((command_->*fn)())
                return;
            why = "failed";
        } catch (const std::exception& e) {
            why = QString("threw: %1").arg(QString::fromUtf8(e.what()));
        } catch (...) {
            why = "threw an unknown exception";
        }
        h.log(log_kind::error, QString("%1: %2 %3.").arg(name_, what, why));
    }

    MPxCommand* command_;
    QString name_;
};

} // namespace

plugin_record* plugin_registry::find(const QString& name) const
{
    for (const auto& p : loaded)
        if (p->name == name)
            return p.get();
    return nullptr;
}

QString plugin_registry::module_of(const void* address) const
{
    Dl_info info;
    if (!address || !dladdr(address, &info))
        return QString();
    for (const auto& p : loaded)
        if (p->base && p->base == info.dli_fbase)
            return p->name;
    return QString();
}

bool host::load_plugin(const QString& path, QString* name, QString* error)
{
    auto fail = [&](const QString& text) {
        if (error)
            *error = text;
        return false;
    };
    QFileInfo file(path);
    QString pluginName = file.completeBaseName();
    if (pluginName.startsWith("lib") && file.suffix() == "so" && !file.exists())
        pluginName = pluginName.mid(3);
    if (d->plugins.find(pluginName)) {
        if (name)
            *name = pluginName;
        return true; // already loaded, as Maya treats a second load
    }
    if (!file.exists())
        return fail(QString("Plug-in file \"%1\" not found.").arg(path));
    void* handle = dlopen(file.absoluteFilePath().toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        return fail(QString("Could not load \"%1\": %2").arg(path, QString::fromLocal8Bit(dlerror())));
    auto init = reinterpret_cast<entry_fn>(dlsym(handle, init_symbol));
    auto uninit = reinterpret_cast<entry_fn>(dlsym(handle, uninit_symbol));
    if (!init || !uninit || !dlsym(handle, "MApiVersion")) {
        dlclose(handle);
        return fail(QString("\"%1\" is not a Maya plug-in: initializePlugin, uninitializePlugin "
                            "or MApiVersion is missing.")
                        .arg(path));
    }
    QString pluginError;
    bool ok = start_plugin(*this, pluginName, file.absoluteFilePath(), handle,
                           reinterpret_cast<void*>(init), reinterpret_cast<void*>(uninit), &pluginError);
    if (!ok)
        return fail(pluginError);
    if (name)
        *name = pluginName;
    return true;
}

bool host::load_linked_plugin(const QString& name, const QString& path, entry_point init,
                              entry_point uninit, QString* error)
{
    if (d->plugins.find(name))
        return true;
    return start_plugin(*this, name, QFileInfo(path).absoluteFilePath(), nullptr, init, uninit, error);
}

bool host::unload_plugin(const QString& name, QString* error)
{
    auto& loaded = d->plugins.loaded;
    for (auto it = loaded.begin(); it != loaded.end(); ++it) {
        plugin_record* record = it->get();
        if (record->name != name && record->path != name)
            continue;
        // The queue may hold commands whose code goes with the module.
        d->undo.flush();
        if (!run_entry(*this, record, record->uninit, "uninitializePlugin")) {
            if (error)
                *error = QString("uninitializePlugin function failed (%1)").arg(record->name);
            return false;
        }
        drop_leftovers(*this, record, "at unload");
        void* handle = record->handle;
        loaded.erase(it);
        if (handle)
            dlclose(handle);
        return true;
    }
    if (error)
        *error = QString("Plug-in \"%1\" is not loaded.").arg(name);
    return false;
}

QStringList host::plugins() const
{
    QStringList out;
    for (const auto& p : d->plugins.loaded)
        out.append(p->name);
    return out;
}

QString host::plugin_path(const QString& name) const
{
    const plugin_record* record = d->plugins.find(name);
    return record ? record->path : QString();
}

mel::value run_plugin_command(host& h, const QString& name, const QVector<mel::value>& args)
{
    auto& d = h.data();
    auto found = d.plugins.commands.find(name);
    if (found == d.plugins.commands.end())
        throw mel::command_failed{QString("Cannot find procedure \"%1\".").arg(name)};
    MCreatorFunction creator = found->creator;

    MArgList list;
    auto& raw = MSandboxAccess::args(list);
    for (const mel::value& v : args) {
        // Each argument keeps its MEL type; a number is never turned into text.
        MSandboxAccess::arg a;
        switch (v.type()) {
        case mel::value::integer:
            if (v.is_bool()) {
                a.kind = MSandboxAccess::arg::boolean;
                a.b = v.to_int() != 0;
            } else {
                a.kind = MSandboxAccess::arg::integer;
                a.i = v.to_int();
            }
            break;
        case mel::value::number:
            a.kind = MSandboxAccess::arg::number;
            a.d = v.to_float();
            break;
        case mel::value::int_array:
        case mel::value::float_array:
        case mel::value::string_array: {
            a.kind = MSandboxAccess::arg::string_array;
            const QStringList items = v.to_strings();
            for (const QString& s : items)
                a.items.push_back(s.toStdString());
            break;
        }
        case mel::value::none:
        case mel::value::string:
            a.text = v.to_string().toStdString();
            break;
        }
        raw.push_back(std::move(a));
    }

    d.plugins.results.append(command_result());
    const int errors_before = d.log.errors_reported();
    MStatus status = MStatus::kFailure;
    QString thrown;
    // What the command runs with undo enabled joins its step.
    const QString text = command_text(name, args);
    d.undo.open_command(text);
    MPxCommand* command = nullptr;
    try {
        plugin_scope scope(d.plugins, found->owner->name);
        command = static_cast<MPxCommand*>(creator());
        if (command) {
            status = command->doIt(list);
            // Maya keeps an undoable command that succeeded for undo and redo.
            if (status && command->isUndoable() && d.undo.recording()) {
                d.undo.add(text, std::make_unique<plugin_step>(command, name));
                command = nullptr;
            }
        }
    } catch (const std::exception& e) {
        thrown = QString::fromUtf8(e.what());
    } catch (...) {
        thrown = "unknown exception";
    }
    delete command;
    d.undo.close_command();
    command_result result = d.plugins.results.takeLast();
    if (!thrown.isEmpty())
        throw mel::command_failed{QString("%1: the command threw an exception: %2").arg(name, thrown)};
    // A command that fails without saying why still shows in the output.
    if (!status)
        throw mel::command_failed{d.log.errors_reported() > errors_before
                                      ? QString()
                                      : QString("%1: command failed.").arg(name)};
    switch (result.kind) {
    case command_result::none: return mel::value();
    case command_result::single: return mel::value::from_string(result.values.value(0));
    case command_result::array: return mel::value::from_strings(result.values);
    }
    return mel::value();
}

} // namespace sandbox

using sandbox::host;

OPENMAYA_MAJOR_NAMESPACE_OPEN

MFnPlugin::MFnPlugin(MObject& object, const char*, const char*, const char*, MStatus* ReturnStatus)
    : object_(object)
{
    if (ReturnStatus)
        *ReturnStatus = MSandboxAccess::plugin(object) ? MStatus::kSuccess : MStatus::kInvalidParameter;
}

MFnPlugin::~MFnPlugin() = default;

MString MFnPlugin::loadPath(MStatus* ReturnStatus) const
{
    sandbox::plugin_record* record = MSandboxAccess::plugin(object_);
    if (ReturnStatus)
        *ReturnStatus = record ? MStatus::kSuccess : MStatus::kFailure;
    return record ? sandbox::to_mstring(QFileInfo(record->path).absolutePath()) : MString();
}

MStatus MFnPlugin::registerCommand(const MString& commandName, MCreatorFunction creatorFunction)
{
    host& h = host::instance();
    sandbox::plugin_record* record = MSandboxAccess::plugin(object_);
    QString name = sandbox::to_qstring(commandName);
    if (h.take_fault(sandbox::fault::register_command))
        return MStatus::kFailure;
    if (!record || !creatorFunction || name.isEmpty())
        return MStatus::kInvalidParameter;
    auto& d = h.data();
    if (d.plugins.commands.contains(name) || d.interp.has_command(name))
        return MStatus::kFailure;
    d.plugins.commands.insert(name, {creatorFunction, record});
    record->commands.append(name);
    d.interp.register_command(name, [name](mel::interpreter&, const QVector<mel::value>& args) {
        return sandbox::run_plugin_command(host::instance(), name, args);
    });
    return MStatus::kSuccess;
}

MStatus MFnPlugin::deregisterCommand(const MString& commandName)
{
    host& h = host::instance();
    sandbox::plugin_record* record = MSandboxAccess::plugin(object_);
    QString name = sandbox::to_qstring(commandName);
    if (h.take_fault(sandbox::fault::deregister_command))
        return MStatus::kFailure;
    auto& d = h.data();
    auto found = d.plugins.commands.find(name);
    if (!record || found == d.plugins.commands.end() || found->owner != record)
        return MStatus::kFailure;
    d.plugins.commands.erase(found);
    record->commands.removeOne(name);
    d.interp.unregister_command(name);
    return MStatus::kSuccess;
}

OPENMAYA_NAMESPACE_CLOSE
