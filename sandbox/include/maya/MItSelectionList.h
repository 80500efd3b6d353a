#pragma once
#include <maya/MTypes.h>
#include <maya/MFn.h>
#include <maya/MSelectionList.h>
#include <maya/MStatus.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MItSelectionList {
public:
    MItSelectionList(const MSelectionList& list, MFn::Type = MFn::kInvalid,
                     MStatus* ReturnStatus = NULL);
    virtual ~MItSelectionList();
    bool isDone(MStatus* ReturnStatus = NULL);
    MStatus next();
    MStatus reset();
    MStatus getStrings(MStringArray&);

private:
    MItSelectionList(const MItSelectionList&);
    MItSelectionList& operator=(const MItSelectionList&);
    MSelectionList list_;
    unsigned int index_;
};

OPENMAYA_NAMESPACE_CLOSE
