#pragma once
#include <maya/MApiNamespace.h>

#include <cstddef>
#include <cstdint>

#define MAYA_API_VERSION 20220300

#if defined(_WIN32)
#define PLUGIN_EXPORT __declspec(dllexport)
#define OPENMAYA_EXPORT __declspec(dllimport)
#else
#define PLUGIN_EXPORT __attribute__((visibility("default")))
#define OPENMAYA_EXPORT __attribute__((visibility("default")))
#endif

#ifdef MAYA_SANDBOX_BUILD
#undef OPENMAYA_EXPORT
#if defined(_WIN32)
#define OPENMAYA_EXPORT __declspec(dllexport)
#else
#define OPENMAYA_EXPORT __attribute__((visibility("default")))
#endif
#endif
