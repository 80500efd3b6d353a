#pragma once
#include <maya/MTypes.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

// An argument is one value: a string, an int, a double, a boolean or a string
// array (a MEL string[] value, a Python list of strings). The getters convert
// only where no text or precision is lost: a string never reads as a number
// unless it is one, a number never reads as a string.
class OPENMAYA_EXPORT MArgList {
public:
    MArgList();
    MArgList(const MArgList&);
    ~MArgList();
    MArgList& operator=(const MArgList&);
    unsigned int length(MStatus* ReturnStatus = NULL) const;
    bool asBool(unsigned int index, MStatus* ret = NULL) const;
    int asInt(unsigned int index, MStatus* ret = NULL) const;
    double asDouble(unsigned int index, MStatus* ret = NULL) const;
    MString asString(unsigned int index, MStatus* ret = NULL) const;
    MStatus get(unsigned int index, bool& ret) const;
    MStatus get(unsigned int index, int& ret) const;
    MStatus get(unsigned int index, double& ret) const;
    MStatus get(unsigned int index, MString& ret) const;
    MStatus get(unsigned int& index, MStringArray& ret) const;
    MStatus addArg(const MString& arg);

private:
    friend struct MSandboxAccess;
    void* api_data_;
};

OPENMAYA_NAMESPACE_CLOSE
