#pragma once
#include <maya/MTypes.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MObject {
public:
    MObject();
    MObject(const MObject&);
    ~MObject();
    MObject& operator=(const MObject&);
    bool isNull() const;
    static MObject kNullObj;

private:
    friend struct MSandboxAccess;
    void* ptr_;
};

OPENMAYA_NAMESPACE_CLOSE
