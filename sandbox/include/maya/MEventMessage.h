#pragma once
#include <maya/MTypes.h>
#include <maya/MMessage.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MEventMessage : public MMessage {
public:
    // An unknown event name gives kUnknownParameter and id 0.
    static MCallbackId addEventCallback(const MString& event, MMessage::MBasicFunction func,
                                        void* clientData = NULL, MStatus* ReturnStatus = NULL);
};

OPENMAYA_NAMESPACE_CLOSE
