#pragma once
#include <maya/MTypes.h>
#include <maya/MMessage.h>
#include <maya/MStatus.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MSceneMessage : public MMessage {
public:
    // Maya's messages in Maya's order; the sandbox fires the new, open and
    // save ones and answers kNotImplemented for the others.
    enum Message {
        kSceneUpdate,
        kBeforeNew,
        kAfterNew,
        kBeforeImport,
        kAfterImport,
        kBeforeOpen,
        kAfterOpen,
        kBeforeFileRead,
        kAfterFileRead,
        kAfterSceneReadAndRecordEdits,
        kBeforeExport,
        kExportStarted,
        kAfterExport,
        kBeforeSave,
        kAfterSave
    };
    static MCallbackId addCallback(Message msg, MMessage::MBasicFunction func, void* clientData = NULL,
                                   MStatus* ReturnStatus = NULL);
};

OPENMAYA_NAMESPACE_CLOSE
