#pragma once
#include <maya/MTypes.h>

typedef void* (*MCreatorFunction)();
