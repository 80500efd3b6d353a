#pragma once
#include <maya/MTypes.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MSelectionList {
public:
    MSelectionList();
    MSelectionList(const MSelectionList&);
    virtual ~MSelectionList();
    MSelectionList& operator=(const MSelectionList&);
    MStatus clear();
    bool isEmpty(MStatus* ReturnStatus = NULL) const;
    unsigned int length(MStatus* ReturnStatus = NULL) const;
    MStatus add(const MString& matchString, const bool searchChildNamespacesToo = false);
    MStatus getSelectionStrings(MStringArray& array) const;

private:
    friend struct MSandboxAccess;
    void* api_data_;
};

OPENMAYA_NAMESPACE_CLOSE
