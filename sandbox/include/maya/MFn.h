#pragma once
#include <maya/MTypes.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MFn {
public:
    enum Type { kInvalid = 0, kBase = 1, kNamedObject = 2, kDependencyNode = 4 };
};

OPENMAYA_NAMESPACE_CLOSE
