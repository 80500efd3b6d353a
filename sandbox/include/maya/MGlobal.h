#pragma once
#include <maya/MTypes.h>
#include <maya/MSelectionList.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MGlobal {
public:
    enum ListAdjustment { kReplaceList, kXORWithList, kAddToList, kRemoveFromList,
                          kAddToHeadOfList };
    enum MMayaState { kInteractive, kBatch, kLibraryApp, kBaseUIMode };

    static MMayaState mayaState(MStatus* ReturnStatus = NULL);
    static MStatus executeCommandOnIdle(const MString& command, bool displayEnabled = false);
    static MStatus executePythonCommandOnIdle(const MString& command, bool displayEnabled = false);
    static MStatus executeCommand(const MString& command, bool displayEnabled = false,
                                  bool undoEnabled = false);
    static MStatus executeCommand(const MString& command, MStringArray& result,
                                  bool displayEnabled = false, bool undoEnabled = false);
    static void displayInfo(const MString&);
    static void displayWarning(const MString&);
    static void displayError(const MString&);
    static MStatus getActiveSelectionList(MSelectionList& dest,
                                          bool orderedSelectionIfAvailable = false);
    static MStatus setActiveSelectionList(const MSelectionList& src,
                                          ListAdjustment = kReplaceList);
    static MStatus clearSelectionList();
    // The default adjustment adds to the list, as in Maya: always pass one.
    static MStatus selectByName(const MString& name, ListAdjustment = kAddToList);
    static MStatus selectCommand(const MSelectionList& src, ListAdjustment = kReplaceList);
};

OPENMAYA_NAMESPACE_CLOSE
