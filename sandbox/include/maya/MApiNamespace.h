#pragma once
// The API classes live in a versioned namespace and are brought to global
// scope here, so a forward declaration of your own at global scope clashes
// exactly as it does with the real devkit.

#define OPENMAYA_MAJOR_NAMESPACE OpenMaya20220000
#define OPENMAYA_MAJOR_NAMESPACE_OPEN namespace Autodesk { namespace Maya { namespace OpenMaya20220000 {
#define OPENMAYA_NAMESPACE_CLOSE } } }

OPENMAYA_MAJOR_NAMESPACE_OPEN
class MArgList;
class MEventMessage;
class MFn;
class MFnPlugin;
class MGlobal;
class MItSelectionList;
class MMessage;
class MObject;
class MPxCommand;
class MQtUtil;
class MSceneMessage;
class MSelectionList;
class MStatus;
class MString;
class MStringArray;
OPENMAYA_NAMESPACE_CLOSE

using Autodesk::Maya::OpenMaya20220000::MArgList;
using Autodesk::Maya::OpenMaya20220000::MEventMessage;
using Autodesk::Maya::OpenMaya20220000::MFn;
using Autodesk::Maya::OpenMaya20220000::MFnPlugin;
using Autodesk::Maya::OpenMaya20220000::MGlobal;
using Autodesk::Maya::OpenMaya20220000::MItSelectionList;
using Autodesk::Maya::OpenMaya20220000::MMessage;
using Autodesk::Maya::OpenMaya20220000::MObject;
using Autodesk::Maya::OpenMaya20220000::MPxCommand;
using Autodesk::Maya::OpenMaya20220000::MQtUtil;
using Autodesk::Maya::OpenMaya20220000::MSceneMessage;
using Autodesk::Maya::OpenMaya20220000::MSelectionList;
using Autodesk::Maya::OpenMaya20220000::MStatus;
using Autodesk::Maya::OpenMaya20220000::MString;
using Autodesk::Maya::OpenMaya20220000::MStringArray;
