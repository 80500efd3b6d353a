// The plug-in's entry points. <maya/MFnPlugin.h> defines symbols of its own,
// so this is the only file that includes it.
#include "plugin/maya_host.h"
#include "plugin/picker_main.h"

#include <maya/MEventMessage.h>
#include <maya/MFnPlugin.h>
#include <maya/MGlobal.h>
#include <maya/MSceneMessage.h>

namespace {
maya_host host;
bool command_registered = false;

struct callback {
    const char* event; // an event name, or null for the BeforeSave scene message
    MMessage::MBasicFunction fn;
    MCallbackId* id;
    const char* install_failure;
    const char* remove_failure;
};

// "NewSceneOpened" empties the window just as "deleteAll" does; pending
// picker data goes into the scene before Maya writes it.
const callback callbacks[] = {
    {"SelectionChanged", picker_main::selectionChangedFn, &picker_main::selectionChangedId_,
     "could not install SelectionChanged callback", "could not remove selectionChanged callback"},
    {"quitApplication", picker_main::quitApplicationFn, &picker_main::quitApplicationId_,
     "could not install quitApplication callback", "could not remove the quitApplicaiton callback"},
    {"deleteAll", picker_main::deleteAllFn, &picker_main::deleteAllId_,
     "could not install the deleteAll callback", "could not remove the deleteAll callback"},
    {"NewSceneOpened", picker_main::deleteAllFn, &picker_main::newSceneOpenedId_,
     "could not install the NewSceneOpened callback", "could not remove the newSceneOpened callback"},
    {"SceneOpened", picker_main::sceneOpenedFn, &picker_main::sceneOpenedId_,
     "could not install the SceneOpened callback", "could not remove the sceneOpened callback"},
    {nullptr, picker_main::beforeSaveFn, &picker_main::beforeSaveId_,
     "could not install the BeforeSave callback", "could not remove the beforeSave callback"},
};

// Removes every callback still installed, going on past a failure so that
// as few as possible are left calling into the plug-in; each failure is
// reported and its id kept for another try. The first failure is returned.
MStatus remove_callbacks()
{
    MStatus result = MStatus::kSuccess;
    for (const callback& c : callbacks) {
        if (*c.id == 0)
            continue;
        MStatus status = MMessage::removeCallback(*c.id);
        report_error(status, c.remove_failure);
        if (status)
            *c.id = 0;
        else if (result)
            result = status;
    }
    return result;
}

} // namespace

MStatus initializePlugin(MObject obj)
{
    picker_host::install(&host);
    MStatus status;
    MFnPlugin plugin(obj, "Quillmarsh, Inc.", "2.0.1", "Any", &status);
    if (status)
        status = plugin.registerCommand(picker_main::name_, picker_main::creator);
    command_registered = bool(status);
    if (!status) {
        report_error(status, "could not initialize the plugin");
        picker_host::install(nullptr);
        return status;
    }
    for (const callback& c : callbacks) {
        *c.id = c.event ? MEventMessage::addEventCallback(c.event, c.fn, nullptr, &status)
                        : MSceneMessage::addCallback(MSceneMessage::kBeforeSave, c.fn, nullptr, &status);
        if (status)
            continue;
        *c.id = 0;
        report_error(status, c.install_failure);
        // Maya keeps nothing of a plug-in that fails to load: what was
        // installed so far goes, or it would call into an unloaded module.
        remove_callbacks();
        const MStatus deregistered = plugin.deregisterCommand(picker_main::name_);
        report_error(deregistered, "could not deregister the plugin");
        command_registered = !deregistered;
        picker_host::install(nullptr);
        return status;
    }
    picker_main::path_ = plugin.loadPath();
    load_script("picker_ListNamespaces.mel");
    load_script("picker_Attributes.mel");
    return MStatus::kSuccess;
}

MStatus uninitializePlugin(MObject obj)
{
    // Registration says 2.0.1; unloading has always said 1.0.
    MStatus status;
    MFnPlugin plugin(obj, "Quillmarsh, Inc.", "1.0", "Any", &status);
    picker_main::cleanup();
    picker_main::delete_control();
    // Every callback goes even when the command cannot; a failure keeps the
    // plug-in loaded (Maya does not unload it), and unloading again retries
    // what is left.
    const MStatus removed = remove_callbacks();
    if (status && command_registered)
        status = plugin.deregisterCommand(picker_main::name_);
    report_error(status, "could not deregister the plugin");
    if (!status)
        return status;
    command_registered = false;
    if (!removed)
        return removed;
    picker_host::install(nullptr);
    return MStatus::kSuccess;
}
