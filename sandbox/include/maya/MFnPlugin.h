#pragma once
// Defines symbols of its own: include it from one translation unit only.
#include <maya/MTypes.h>
#include <maya/MObject.h>
#include <maya/MPlugin.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MFnPlugin {
public:
    MFnPlugin(MObject& object, const char* vendor = "Unknown", const char* version = "Unknown",
              const char* requiredApiVersion = "Any", MStatus* ReturnStatus = 0L);
    virtual ~MFnPlugin();
    MString loadPath(MStatus* ReturnStatus = nullptr) const;
    MStatus registerCommand(const MString& commandName, MCreatorFunction creatorFunction);
    MStatus deregisterCommand(const MString& commandName);

private:
    MFnPlugin(const MFnPlugin&);
    MFnPlugin& operator=(const MFnPlugin&);
    MObject object_;
};

OPENMAYA_NAMESPACE_CLOSE

PLUGIN_EXPORT MStatus initializePlugin(MObject obj);
PLUGIN_EXPORT MStatus uninitializePlugin(MObject obj);

// The host reads the API version a plug-in was built against from this symbol.
#ifndef MAYA_SANDBOX_BUILD
extern "C" PLUGIN_EXPORT const char MApiVersion[];
extern "C" PLUGIN_EXPORT const char MApiVersion[] = "20220300";
#endif
