#pragma once
#include <maya/MTypes.h>
#include <maya/MStatus.h>
#include <maya/MString.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MStringArray {
public:
    MStringArray();
    MStringArray(const MStringArray&);
    ~MStringArray();
    MStringArray(unsigned int initialSize, const MString& initialValue);
    MStringArray& operator=(const MStringArray&);
    MString operator[](unsigned int) const;
    MString& operator[](unsigned int);
    unsigned int length() const;
    MStatus append(const MString&);
    MStatus setLength(unsigned int);
    MStatus clear();
    int indexOf(const MString&) const;

private:
    void* api_data_;
};

OPENMAYA_NAMESPACE_CLOSE
