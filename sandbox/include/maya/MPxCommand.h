#pragma once
#include <maya/MTypes.h>
#include <maya/MArgList.h>
#include <maya/MStatus.h>
#include <maya/MString.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MPxCommand {
public:
    MPxCommand();
    virtual ~MPxCommand();
    virtual MStatus doIt(const MArgList& args);
    virtual MStatus undoIt();
    virtual MStatus redoIt();
    virtual bool isUndoable() const;
    static void clearResult();
    static void setResult(const MString&);
    static void setResult(const MStringArray&);
    static void appendToResult(const MString&);
    static void appendToResult(const MStringArray&);
    static void displayError(const MString&, bool showLineNumber = false);
};

OPENMAYA_NAMESPACE_CLOSE
