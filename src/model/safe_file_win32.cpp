// The Win32 implementation of model/safe_file.h.
#include "model/platform.h"

#ifdef QUILL_FILES_WIN32

#include "model/safe_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <string>

// The writer hook stands for ::write, which this implementation does not use.
void safe_file_testing::set_writer(writer) {}

namespace {

bool fail(QString* error, const QString& why)
{
    if (error)
        *error = why;
    return false;
}

// The system's wording, without the full stop and line end it ends with:
// the caller puts the message inside a sentence.
QString system_text(DWORD code)
{
    wchar_t* text = nullptr;
    const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                         FORMAT_MESSAGE_IGNORE_INSERTS,
                                     nullptr, code, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    QString why = n ? QString::fromWCharArray(text, int(n)).trimmed() : QStringLiteral("error %1").arg(code);
    ::LocalFree(text);
    while (why.endsWith(QLatin1Char('.')))
        why.chop(1);
    return why;
}

std::wstring native(const QString& path)
{
    return QDir::toNativeSeparators(path).toStdWString();
}

// The path a link (or junction) ends at, as the system resolves it. The
// result carries the \\?\ prefix, which every call below accepts.
bool final_path(const std::wstring& path, std::wstring* end, QString* error)
{
    const HANDLE h = ::CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return fail(error, system_text(::GetLastError()));
    std::wstring buffer(MAX_PATH, L'\0');
    DWORD n = ::GetFinalPathNameByHandleW(h, &buffer[0], DWORD(buffer.size()), FILE_NAME_NORMALIZED);
    if (n >= buffer.size()) {
        buffer.resize(n);
        n = ::GetFinalPathNameByHandleW(h, &buffer[0], DWORD(buffer.size()), FILE_NAME_NORMALIZED);
    }
    const DWORD code = ::GetLastError();
    ::CloseHandle(h);
    if (n == 0 || n >= buffer.size())
        return fail(error, system_text(code));
    buffer.resize(n);
    *end = buffer;
    return true;
}

// Temporaries are named ".<file>.<8 hex digits>.tmp" beside their file, as
// on the other systems.
std::wstring temporary_name(const std::wstring& folder, const std::wstring& file_name)
{
    const QString hex = QString::number(QRandomGenerator::global()->generate(), 16).rightJustified(8, QLatin1Char('0'));
    return folder + L"\\." + file_name + L'.' + hex.toStdWString() + L".tmp";
}

bool is_temporary_of(const std::wstring& name, const std::wstring& file_name)
{
    const size_t head = file_name.size() + 2;
    if (name.size() != head + 12 || name[0] != L'.' || name.compare(1, file_name.size(), file_name) != 0 ||
        name[head - 1] != L'.' || name.compare(head + 8, 4, L".tmp") != 0)
        return false;
    for (size_t i = head; i < head + 8; ++i)
        if (!((name[i] >= L'0' && name[i] <= L'9') || (name[i] >= L'a' && name[i] <= L'f')))
            return false;
    return true;
}

// A save killed half way leaves its temporary behind; the next save of the
// same file takes it away.
void remove_leftovers(const std::wstring& folder, const std::wstring& file_name)
{
    WIN32_FIND_DATAW found;
    const HANDLE search = ::FindFirstFileW((folder + L"\\." + file_name + L".*.tmp").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return;
    do {
        const DWORD skip = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        if (!(found.dwFileAttributes & skip) && is_temporary_of(found.cFileName, file_name))
            ::DeleteFileW((folder + L'\\' + found.cFileName).c_str());
    } while (::FindNextFileW(search, &found));
    ::FindClose(search);
}

// The temporary file: closed and removed unless it was moved into place.
struct temporary {
    std::wstring path;
    HANDLE handle = INVALID_HANDLE_VALUE;
    bool placed = false;
    ~temporary()
    {
        if (handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle);
        if (!placed && !path.empty())
            ::DeleteFileW(path.c_str());
    }
};

// Another process holding the file open without sharing deletion (a virus
// scanner, an editor, Maya reading it) makes a rename fail for a moment.
bool worth_retrying(DWORD code)
{
    return code == ERROR_SHARING_VIOLATION || code == ERROR_ACCESS_DENIED || code == ERROR_LOCK_VIOLATION ||
           code == ERROR_UNABLE_TO_REMOVE_REPLACED || code == ERROR_UNABLE_TO_MOVE_REPLACEMENT;
}

const int attempts = 10;

void pause_before(int attempt)
{
    ::Sleep(DWORD(20 * attempt));
}

// Renames the temporary over a new file (or one that vanished meanwhile).
bool move_into_place(temporary& temp, const std::wstring& target, QString* error)
{
    DWORD code = ERROR_SUCCESS;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        if (::MoveFileExW(temp.path.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
            temp.placed = true;
            return true;
        }
        code = ::GetLastError();
        if (!worth_retrying(code))
            break;
        pause_before(attempt);
    }
    return fail(error, QStringLiteral("the new file could not replace the old one: %1").arg(system_text(code)));
}

// Replaces an existing file, which keeps its attributes, owner and access
// list and may stay open in readers that share deletion. The old file goes
// to a backup name first: without one, some failures of ReplaceFileW leave
// it under a name nobody knows, or gone.
bool replace_existing(temporary& temp, const std::wstring& target, const std::wstring& folder,
                      const std::wstring& file_name, QString* error)
{
    const std::wstring backup = temporary_name(folder, file_name);
    DWORD code = ERROR_SUCCESS;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        if (::ReplaceFileW(target.c_str(), temp.path.c_str(), backup.c_str(),
                           REPLACEFILE_IGNORE_MERGE_ERRORS | REPLACEFILE_IGNORE_ACL_ERRORS, nullptr, nullptr)) {
            temp.placed = true;
            // A reader still holding the old file keeps it until it closes;
            // the next save removes it if this cannot.
            ::DeleteFileW(backup.c_str());
            return true;
        }
        code = ::GetLastError();
        if (code == ERROR_FILE_NOT_FOUND)
            return move_into_place(temp, target, error);
        if (code == ERROR_UNABLE_TO_MOVE_REPLACEMENT_2) {
            // The old file is at the backup name and the new one could not
            // take its place: the old one goes back.
            if (::MoveFileExW(backup.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH))
                return fail(error, QStringLiteral("the new file could not replace the old one: %1")
                                       .arg(system_text(code)));
            return fail(error, QStringLiteral("the new file could not replace the old one, which is now %1: %2")
                                   .arg(QDir::toNativeSeparators(QString::fromStdWString(backup)),
                                        system_text(::GetLastError())));
        }
        if (!worth_retrying(code))
            break;
        pause_before(attempt);
    }
    return fail(error, QStringLiteral("the new file could not replace the old one: %1").arg(system_text(code)));
}

bool write_all(HANDLE h, const QByteArray& bytes, QString* error)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        DWORD written = 0;
        const DWORD chunk = DWORD(qMin<qint64>(left, 1 << 30));
        if (!::WriteFile(h, data, chunk, &written, nullptr))
            return fail(error, system_text(::GetLastError()));
        if (written == 0)
            return fail(error, system_text(ERROR_DISK_FULL));
        data += written;
        left -= written;
    }
    return true;
}

QString not_a_file_text(DWORD attributes)
{
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return QStringLiteral("it is a folder, not a file");
    if (attributes & FILE_ATTRIBUTE_DEVICE)
        return QStringLiteral("it is a device, not a file");
    return QStringLiteral("it is not a regular file");
}

} // namespace

bool write_file_safely(const QString& path, const QByteArray& bytes, QString* error, bool* refused)
{
    if (refused)
        *refused = false;
    const auto refuse = [&](const QString& why) {
        if (refused)
            *refused = true;
        return fail(error, why);
    };
    if (path.isEmpty())
        return refuse(system_text(ERROR_FILE_NOT_FOUND));
    std::wstring target = native(QFileInfo(path).absoluteFilePath());
    WIN32_FILE_ATTRIBUTE_DATA old;
    bool exists = ::GetFileAttributesExW(target.c_str(), GetFileExInfoStandard, &old);
    if (!exists) {
        const DWORD code = ::GetLastError();
        if (code != ERROR_FILE_NOT_FOUND && code != ERROR_PATH_NOT_FOUND)
            return refuse(system_text(code));
    }
    // A link stays a link: the file it ends at is replaced.
    if (exists && (old.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        if (!final_path(target, &target, error))
            return false;
        exists = ::GetFileAttributesExW(target.c_str(), GetFileExInfoStandard, &old);
        if (!exists)
            return refuse(system_text(::GetLastError()));
    }
    if (exists && (old.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)))
        return fail(error, not_a_file_text(old.dwFileAttributes));
    // ReplaceFileW would refuse it too, but only after the whole write.
    if (exists && (old.dwFileAttributes & FILE_ATTRIBUTE_READONLY))
        return refuse(QStringLiteral("the file is read-only"));

    const size_t slash = target.find_last_of(L"\\/");
    const std::wstring folder = slash == std::wstring::npos ? std::wstring(L".") : target.substr(0, slash);
    const std::wstring file_name = slash == std::wstring::npos ? target : target.substr(slash + 1);
    remove_leftovers(folder, file_name);

    // The temporary gets the folder's inherited access list; ReplaceFileW
    // gives it the old file's.
    temporary temp;
    for (int attempt = 0; attempt < 16 && temp.handle == INVALID_HANDLE_VALUE; ++attempt) {
        const std::wstring name = temporary_name(folder, file_name);
        temp.handle = ::CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        const DWORD code = ::GetLastError();
        if (temp.handle != INVALID_HANDLE_VALUE)
            temp.path = name;
        else if (code != ERROR_FILE_EXISTS && code != ERROR_ALREADY_EXISTS)
            return refuse(QStringLiteral("no file can be created in %1: %2")
                              .arg(QDir::toNativeSeparators(QString::fromStdWString(folder)), system_text(code)));
    }
    if (temp.handle == INVALID_HANDLE_VALUE)
        return fail(error, QStringLiteral("no temporary name is free in %1")
                               .arg(QDir::toNativeSeparators(QString::fromStdWString(folder))));

    if (!write_all(temp.handle, bytes, error))
        return false;
    // Flushed before the rename, so a crash leaves the old file or the new
    // one, never a name pointing at data not yet on disk.
    if (!::FlushFileBuffers(temp.handle))
        return fail(error, QStringLiteral("the data could not be flushed to disk: %1")
                               .arg(system_text(::GetLastError())));
    const BOOL closed = ::CloseHandle(temp.handle);
    temp.handle = INVALID_HANDLE_VALUE;
    if (!closed)
        return fail(error, system_text(::GetLastError()));
    return exists ? replace_existing(temp, target, folder, file_name, error) : move_into_place(temp, target, error);
}

read_open open_regular_file(QFile& file, const QString& path, QString* error)
{
    const auto failed = [error](const QString& why, read_open result = read_open::failed) {
        fail(error, why);
        return result;
    };
    if (path.isEmpty())
        return failed(system_text(ERROR_FILE_NOT_FOUND));
    // Opened without access first: that reads what the path is without
    // touching a device behind it (a serial port, CON).
    const std::wstring name = native(path);
    const HANDLE h = ::CreateFileW(name.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                   OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return failed(system_text(::GetLastError()));
    BY_HANDLE_FILE_INFORMATION info;
    const bool disk = ::GetFileType(h) == FILE_TYPE_DISK;
    const bool known = ::GetFileInformationByHandle(h, &info);
    ::CloseHandle(h);
    if (!disk)
        return failed(not_a_file_text(FILE_ATTRIBUTE_DEVICE), read_open::not_a_file);
    if (!known || (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
        return failed(not_a_file_text(known ? info.dwFileAttributes : 0), read_open::not_a_file);
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(file.errorString());
    return read_open::ok;
}

#endif
