// The value classes of the API: MString, MStringArray, MStatus, MObject, MArgList.
#include "host_private.h"

#include <maya/MStatus.h>

#include <QByteArray>

#include <cmath>
#include <cstdio>
#include <cstring>

OPENMAYA_MAJOR_NAMESPACE_OPEN

namespace {
std::string& str(void* p)
{
    return *static_cast<std::string*>(p);
}
const std::string& cstr(const void* p)
{
    return *static_cast<const std::string*>(p);
}
std::vector<MString>& vec(void* p)
{
    return *static_cast<std::vector<MString>*>(p);
}
const std::vector<MString>& cvec(const void* p)
{
    return *static_cast<const std::vector<MString>*>(p);
}
using arg_list = std::vector<MSandboxAccess::arg>;
arg_list& args_of(void* p)
{
    return *static_cast<arg_list*>(p);
}
const arg_list& cargs_of(const void* p)
{
    return *static_cast<const arg_list*>(p);
}

std::string format_double(double v)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%g", v);
    return buffer;
}
} // namespace

// ----- MString

MString::MString() : api_data_(new std::string) {}
MString::MString(const char* s) : api_data_(new std::string(s ? s : "")) {}
MString::MString(const char* s, int charLength)
    : api_data_(new std::string(s && charLength > 0 ? std::string(s, std::size_t(charLength)) : std::string()))
{
}
MString::MString(const wchar_t* s) : api_data_(new std::string)
{
    if (s)
        str(api_data_) = QString::fromWCharArray(s).toStdString();
}
MString::MString(const MString& other) : api_data_(new std::string(cstr(other.api_data_))) {}
MString::~MString()
{
    delete static_cast<std::string*>(api_data_);
}
MString& MString::operator=(const MString& other)
{
    if (this != &other)
        str(api_data_) = cstr(other.api_data_);
    return *this;
}
MString& MString::operator=(const char* s)
{
    str(api_data_) = s ? s : "";
    return *this;
}
MString& MString::operator+=(const MString& other)
{
    str(api_data_) += cstr(other.api_data_);
    return *this;
}
MString& MString::operator+=(const char* s)
{
    if (s)
        str(api_data_) += s;
    return *this;
}
MString& MString::operator+=(int v)
{
    str(api_data_) += std::to_string(v);
    return *this;
}
MString& MString::operator+=(unsigned int v)
{
    str(api_data_) += std::to_string(v);
    return *this;
}
MString& MString::operator+=(double v)
{
    str(api_data_) += format_double(v);
    return *this;
}
MString MString::operator+(const MString& other) const
{
    MString out(*this);
    out += other;
    return out;
}
MString MString::operator+(const char* s) const
{
    MString out(*this);
    out += s;
    return out;
}
bool MString::operator==(const MString& other) const
{
    return cstr(api_data_) == cstr(other.api_data_);
}
bool MString::operator==(const char* s) const
{
    return cstr(api_data_) == (s ? s : "");
}
bool MString::operator!=(const MString& other) const
{
    return !(*this == other);
}
bool MString::operator!=(const char* s) const
{
    return !(*this == s);
}
const char* MString::asChar() const
{
    return cstr(api_data_).c_str();
}
const char* MString::asUTF8() const
{
    return cstr(api_data_).c_str();
}
unsigned int MString::length() const
{
    return unsigned(cstr(api_data_).size());
}
unsigned int MString::numChars() const
{
    return unsigned(QString::fromStdString(cstr(api_data_)).size());
}
void MString::clear()
{
    str(api_data_).clear();
}

// ----- MStringArray

MStringArray::MStringArray() : api_data_(new std::vector<MString>) {}
MStringArray::MStringArray(const MStringArray& other)
    : api_data_(new std::vector<MString>(cvec(other.api_data_)))
{
}
MStringArray::~MStringArray()
{
    delete static_cast<std::vector<MString>*>(api_data_);
}
MStringArray::MStringArray(unsigned int initialSize, const MString& initialValue)
    : api_data_(new std::vector<MString>(initialSize, initialValue))
{
}
MStringArray& MStringArray::operator=(const MStringArray& other)
{
    if (this != &other)
        vec(api_data_) = cvec(other.api_data_);
    return *this;
}
MString MStringArray::operator[](unsigned int i) const
{
    const auto& v = cvec(api_data_);
    return i < v.size() ? v[i] : MString();
}
MString& MStringArray::operator[](unsigned int i)
{
    auto& v = vec(api_data_);
    if (i >= v.size())
        v.resize(i + 1); // Maya does not check; growing beats writing past the end
    return v[i];
}
unsigned int MStringArray::length() const
{
    return unsigned(cvec(api_data_).size());
}
MStatus MStringArray::append(const MString& s)
{
    vec(api_data_).push_back(s);
    return MStatus::kSuccess;
}
MStatus MStringArray::setLength(unsigned int n)
{
    vec(api_data_).resize(n);
    return MStatus::kSuccess;
}
MStatus MStringArray::clear()
{
    vec(api_data_).clear();
    return MStatus::kSuccess;
}
int MStringArray::indexOf(const MString& s) const
{
    const auto& v = cvec(api_data_);
    for (std::size_t i = 0; i < v.size(); ++i)
        if (v[i] == s)
            return int(i);
    return -1;
}

// ----- MStatus

MStatus::MStatus() : code_(kSuccess) {}
MStatus::MStatus(MStatusCode code) : code_(code) {}
MStatus::MStatus(const MStatus& other) : code_(other.code_) {}
MStatus& MStatus::operator=(const MStatus& other)
{
    code_ = other.code_;
    return *this;
}
bool MStatus::operator==(const MStatus& other) const
{
    return code_ == other.code_;
}
bool MStatus::operator==(MStatusCode code) const
{
    return code_ == code;
}
bool MStatus::operator!=(const MStatus& other) const
{
    return code_ != other.code_;
}
bool MStatus::operator!=(MStatusCode code) const
{
    return code_ != code;
}
bool MStatus::error() const
{
    return code_ != kSuccess;
}
void MStatus::clear()
{
    code_ = kSuccess;
}
MStatus::MStatusCode MStatus::statusCode() const
{
    return code_;
}
MString MStatus::errorString() const
{
    static const char* const names[] = {
        "(kSuccess)",          "(kFailure)",        "(kInsufficientMemory)",
        "(kInvalidParameter)", "(kLicenseFailure)", "(kUnknownParameter)",
        "(kNotImplemented)",   "(kNotFound)",       "(kEndOfFile)"};
    unsigned index = unsigned(code_);
    return index < sizeof names / sizeof names[0] ? MString(names[index]) : MString("(unknown)");
}
void MStatus::perror(const char* text) const
{
    QString message = QString::fromUtf8(text ? text : "") + ": " +
                      QString::fromUtf8(errorString().asChar());
    sandbox::host::instance().log(sandbox::log_kind::error, message);
}
MStatus::operator bool() const
{
    return code_ == kSuccess;
}

// ----- MObject

MObject MObject::kNullObj;

MObject::MObject() : ptr_(nullptr) {}
MObject::MObject(const MObject& other) : ptr_(other.ptr_) {}
MObject::~MObject() = default;
MObject& MObject::operator=(const MObject& other)
{
    ptr_ = other.ptr_;
    return *this;
}
bool MObject::isNull() const
{
    return ptr_ == nullptr;
}

// ----- MArgList

MArgList::MArgList() : api_data_(new arg_list) {}
MArgList::MArgList(const MArgList& other) : api_data_(new arg_list(cargs_of(other.api_data_))) {}
MArgList::~MArgList()
{
    delete static_cast<arg_list*>(api_data_);
}
MArgList& MArgList::operator=(const MArgList& other)
{
    if (this != &other)
        args_of(api_data_) = cargs_of(other.api_data_);
    return *this;
}
unsigned int MArgList::length(MStatus* ReturnStatus) const
{
    if (ReturnStatus)
        *ReturnStatus = MStatus::kSuccess;
    return unsigned(cargs_of(api_data_).size());
}
namespace {

using arg_t = MSandboxAccess::arg;

// A string that is wholly one decimal number ("12", "-0.5", "1e3"), as a
// number argument could have been written; "12abc", " 12", "0x10" and
// "inf" are not.
bool numeric_text(const std::string& s, double* out)
{
    std::size_t k = 0;
    if (k < s.size() && (s[k] == '+' || s[k] == '-'))
        ++k;
    std::size_t digits = 0;
    while (k < s.size() && s[k] >= '0' && s[k] <= '9')
        ++k, ++digits;
    if (k < s.size() && s[k] == '.') {
        ++k;
        while (k < s.size() && s[k] >= '0' && s[k] <= '9')
            ++k, ++digits;
    }
    if (digits == 0)
        return false;
    if (k < s.size() && (s[k] == 'e' || s[k] == 'E')) {
        ++k;
        if (k < s.size() && (s[k] == '+' || s[k] == '-'))
            ++k;
        std::size_t exponent = 0;
        while (k < s.size() && s[k] >= '0' && s[k] <= '9')
            ++k, ++exponent;
        if (exponent == 0)
            return false;
    }
    if (k != s.size())
        return false;
    bool ok = false;
    const double v = QByteArray::fromStdString(s).toDouble(&ok); // the C locale, whatever the user's
    if (!ok || !std::isfinite(v))
        return false;
    *out = v;
    return true;
}

// A plain value read as a number: numbers and booleans as they are, a string
// only when it is wholly a number.
bool number_of(const arg_t& a, double* out)
{
    switch (a.kind) {
    case arg_t::integer: *out = a.i; return true;
    case arg_t::number: *out = a.d; return true;
    case arg_t::boolean: *out = a.b ? 1.0 : 0.0; return true;
    case arg_t::string: return numeric_text(a.text, out);
    case arg_t::string_array: break;
    }
    return false;
}

// An int only when nothing is lost: 2.0 reads as 2, 2.5 does not read.
bool int_of(const arg_t& a, int* out)
{
    if (a.kind == arg_t::integer) {
        *out = a.i;
        return true;
    }
    double v = 0.0;
    if (!number_of(a, &v) || !std::isfinite(v) || v != std::trunc(v) || v < -2147483648.0 || v > 2147483647.0)
        return false;
    *out = int(v);
    return true;
}

const arg_t* arg_at(const void* data, unsigned index)
{
    const auto& list = cargs_of(data);
    return index < list.size() ? &list[index] : nullptr;
}

template <class T>
T value_or_default(const MArgList& list, unsigned index, MStatus* ret)
{
    T out{};
    const MStatus status = list.get(index, out);
    if (ret)
        *ret = status;
    return status ? out : T{};
}

} // namespace

bool MArgList::asBool(unsigned int index, MStatus* ret) const
{
    return value_or_default<bool>(*this, index, ret);
}
int MArgList::asInt(unsigned int index, MStatus* ret) const
{
    return value_or_default<int>(*this, index, ret);
}
double MArgList::asDouble(unsigned int index, MStatus* ret) const
{
    return value_or_default<double>(*this, index, ret);
}
MString MArgList::asString(unsigned int index, MStatus* ret) const
{
    return value_or_default<MString>(*this, index, ret);
}
MStatus MArgList::get(unsigned int index, bool& ret) const
{
    const arg_t* a = arg_at(api_data_, index);
    if (a && a->kind == arg_t::boolean) {
        ret = a->b;
        return MStatus::kSuccess;
    }
    // MEL has no booleans: its true and on are the int 1.
    int v = 0;
    if (!a || !int_of(*a, &v) || (v != 0 && v != 1))
        return MStatus::kFailure;
    ret = v == 1;
    return MStatus::kSuccess;
}
MStatus MArgList::get(unsigned int index, int& ret) const
{
    const arg_t* a = arg_at(api_data_, index);
    int v = 0;
    if (!a || !int_of(*a, &v))
        return MStatus::kFailure;
    ret = v;
    return MStatus::kSuccess;
}
MStatus MArgList::get(unsigned int index, double& ret) const
{
    const arg_t* a = arg_at(api_data_, index);
    double v = 0.0;
    if (!a || !number_of(*a, &v))
        return MStatus::kFailure;
    ret = v;
    return MStatus::kSuccess;
}
MStatus MArgList::get(unsigned int index, MString& ret) const
{
    const arg_t* a = arg_at(api_data_, index);
    if (!a || a->kind != arg_t::string)
        return MStatus::kFailure;
    ret = MString(a->text.c_str(), int(a->text.size()));
    return MStatus::kSuccess;
}
MStatus MArgList::get(unsigned int& index, MStringArray& ret) const
{
    const arg_t* a = arg_at(api_data_, index);
    if (!a || a->kind != arg_t::string_array)
        return MStatus::kFailure;
    MStringArray out;
    for (const std::string& item : a->items)
        out.append(MString(item.c_str(), int(item.size())));
    ret = out;
    ++index; // Maya moves the index past the argument it consumed
    return MStatus::kSuccess;
}
MStatus MArgList::addArg(const MString& arg)
{
    arg_t a;
    a.text = std::string(arg.asChar(), arg.length());
    args_of(api_data_).push_back(std::move(a));
    return MStatus::kSuccess;
}

// ----- Access to the private parts

std::vector<MSandboxAccess::arg>& MSandboxAccess::args(MArgList& list)
{
    return args_of(list.api_data_);
}
const std::vector<MSandboxAccess::arg>& MSandboxAccess::args(const MArgList& list)
{
    return cargs_of(list.api_data_);
}
MObject MSandboxAccess::plugin_object(sandbox::plugin_record* record)
{
    MObject object;
    object.ptr_ = record;
    return object;
}
sandbox::plugin_record* MSandboxAccess::plugin(const MObject& object)
{
    return static_cast<sandbox::plugin_record*>(object.ptr_);
}

OPENMAYA_NAMESPACE_CLOSE

namespace sandbox {

QString to_qstring(const MString& s)
{
    return QString::fromUtf8(s.asChar(), int(s.length()));
}

MString to_mstring(const QString& s)
{
    QByteArray utf8 = s.toUtf8();
    return MString(utf8.constData(), utf8.size());
}

QStringList to_qstringlist(const MStringArray& a)
{
    QStringList out;
    for (unsigned i = 0; i < a.length(); ++i)
        out.append(to_qstring(a[i]));
    return out;
}

MStringArray to_mstringarray(const QStringList& l)
{
    MStringArray out;
    for (const QString& s : l)
        out.append(to_mstring(s));
    return out;
}

} // namespace sandbox
