#pragma once
#include <maya/MTypes.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

// Text is UTF-8 inside; asChar() and asUTF8() both return it.
class OPENMAYA_EXPORT MString {
public:
    MString();
    MString(const char*);
    MString(const char*, int charLength);
    MString(const wchar_t*);
    MString(const MString&);
    ~MString();
    MString& operator=(const MString&);
    MString& operator=(const char*);
    MString& operator+=(const MString&);
    MString& operator+=(const char*);
    MString& operator+=(int);
    MString& operator+=(unsigned int);
    MString& operator+=(double);
    MString operator+(const MString&) const;
    MString operator+(const char*) const;
    bool operator==(const MString&) const;
    bool operator==(const char*) const;
    bool operator!=(const MString&) const;
    bool operator!=(const char*) const;
    const char* asChar() const;
    const char* asUTF8() const;
    unsigned int length() const;
    unsigned int numChars() const;
    void clear();

private:
    void* api_data_;
};

OPENMAYA_NAMESPACE_CLOSE
