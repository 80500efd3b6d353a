#pragma once
#include <maya/MTypes.h>
#include <maya/MString.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MStatus {
public:
    enum MStatusCode {
        kSuccess = 0,
        kFailure,
        kInsufficientMemory,
        kInvalidParameter,
        kLicenseFailure,
        kUnknownParameter,
        kNotImplemented,
        kNotFound,
        kEndOfFile
    };

    MStatus();
    MStatus(MStatusCode);
    MStatus(const MStatus&);
    MStatus& operator=(const MStatus&);
    bool operator==(const MStatus&) const;
    bool operator==(MStatusCode) const;
    bool operator!=(const MStatus&) const;
    bool operator!=(MStatusCode) const;
    bool error() const;
    void clear();
    MStatusCode statusCode() const;
    MString errorString() const;
    void perror(const char*) const;
    operator bool() const;

private:
    MStatusCode code_;
};

OPENMAYA_NAMESPACE_CLOSE

typedef MStatus MS;

#define CHECK_MSTATUS(_status)                                              \
    {                                                                       \
        MStatus _maya_status = (_status);                                   \
        if (MStatus::kSuccess != _maya_status) {                            \
            _maya_status.perror(__FILE__);                                  \
        }                                                                   \
    }

#define CHECK_MSTATUS_AND_RETURN_IT(_status)                                \
    {                                                                       \
        MStatus _maya_status = (_status);                                   \
        if (MStatus::kSuccess != _maya_status) {                            \
            _maya_status.perror(__FILE__);                                  \
            return _maya_status;                                            \
        }                                                                   \
    }
