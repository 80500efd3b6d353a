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
} // namespace

MStatus initializePlugin(MObject obj)
{
    picker_host::install(&host);
    MStatus status;
    MFnPlugin plugin(obj, "Quillmarsh, Inc.", "2.0.1", "Any", &status);
    if (status)
        status = plugin.registerCommand(picker_main::name_, picker_main::creator);
    if (!status) {
        report_error(status, "could not initialize the plugin");
        return status;
    }

    struct callback {
        const char* event;
        MMessage::MBasicFunction fn;
        MCallbackId* id;
        const char* failure;
    };
    // "NewSceneOpened" empties the window just as "deleteAll" does.
    const callback callbacks[] = {
        {"SelectionChanged", picker_main::selectionChangedFn, &picker_main::selectionChangedId_,
         "could not install SelectionChanged callback"},
        {"quitApplication", picker_main::quitApplicationFn, &picker_main::quitApplicationId_,
         "could not install quitApplication callback"},
        {"deleteAll", picker_main::deleteAllFn, &picker_main::deleteAllId_,
         "could not install the deleteAll callback"},
        {"NewSceneOpened", picker_main::deleteAllFn, &picker_main::newSceneOpenedId_,
         "could not install the NewSceneOpened callback"},
        {"SceneOpened", picker_main::sceneOpenedFn, &picker_main::sceneOpenedId_,
         "could not install the SceneOpened callback"},
    };
    for (const callback& c : callbacks) {
        *c.id = MEventMessage::addEventCallback(c.event, c.fn, nullptr, &status);
        if (!status) {
            report_error(status, c.failure);
            return status;
        }
    }
    // Pending picker data goes into the scene before Maya writes it.
    picker_main::beforeSaveId_ =
        MSceneMessage::addCallback(MSceneMessage::kBeforeSave, picker_main::beforeSaveFn, nullptr, &status);
    if (!status) {
        report_error(status, "could not install the BeforeSave callback");
        return status;
    }
    picker_main::path_ = plugin.loadPath();
    load_script("picker_ListNamespaces.mel");
    return MStatus::kSuccess;
}

MStatus uninitializePlugin(MObject obj)
{
    // Registration says 2.0.1; unloading has always said 1.0.
    MStatus status;
    MFnPlugin plugin(obj, "Quillmarsh, Inc.", "1.0", "Any", &status);
    picker_main::cleanup();
    if (status)
        status = plugin.deregisterCommand(picker_main::name_);
    if (!status) {
        report_error(status, "could not deregister the plugin");
        return status;
    }
    report_error(MMessage::removeCallback(picker_main::selectionChangedId_),
                 "could not remove selectionChanged callback");
    report_error(MMessage::removeCallback(picker_main::quitApplicationId_),
                 "could not remove the quitApplicaiton callback");
    report_error(MMessage::removeCallback(picker_main::deleteAllId_),
                 "could not remove the deleteAll callback");
    report_error(MMessage::removeCallback(picker_main::newSceneOpenedId_),
                 "could not remove the newSceneOpened callback");
    report_error(MMessage::removeCallback(picker_main::sceneOpenedId_),
                 "could not remove the sceneOpened callback");
    report_error(MMessage::removeCallback(picker_main::beforeSaveId_),
                 "could not remove the beforeSave callback");
    picker_host::install(nullptr);
    return MStatus::kSuccess;
}
