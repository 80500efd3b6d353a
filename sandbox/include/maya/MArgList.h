#pragma once
#include <maya/MTypes.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

// An argument is either one string or one string array (a MEL string[] value).
class OPENMAYA_EXPORT MArgList {
public:
    MArgList();
    MArgList(const MArgList&);
    ~MArgList();
    MArgList& operator=(const MArgList&);
    unsigned int length(MStatus* ReturnStatus = NULL) const;
    MString asString(unsigned int index, MStatus* ret = NULL) const;
    MStatus get(unsigned int index, MString& ret) const;
    MStatus get(unsigned int& index, MStringArray& ret) const;
    MStatus addArg(const MString& arg);

private:
    friend struct MSandboxAccess;
    void* api_data_;
};

OPENMAYA_NAMESPACE_CLOSE
