#pragma once
#include <maya/MTypes.h>
#include <maya/MStatus.h>

typedef uintptr_t MCallbackId;

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MMessage {
public:
    typedef void (*MBasicFunction)(void* clientData);
    static MStatus removeCallback(MCallbackId id);
};

OPENMAYA_NAMESPACE_CLOSE
