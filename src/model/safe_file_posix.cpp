// The POSIX implementation of model/safe_file.h (Linux, macOS).
#include "model/platform.h"

#ifdef QUILL_FILES_POSIX

#include "model/safe_file.h"

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

safe_file_testing::writer test_writer = nullptr;

bool fail(QString* error, const QString& why)
{
    if (error)
        *error = why;
    return false;
}

} // namespace

void safe_file_testing::set_writer(writer w)
{
    test_writer = w;
}

namespace {

QString errno_text(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

QString not_a_file_text(mode_t mode)
{
    if (S_ISDIR(mode))
        return QStringLiteral("it is a folder, not a file");
    if (S_ISFIFO(mode))
        return QStringLiteral("it is a pipe, not a file");
    if (S_ISSOCK(mode))
        return QStringLiteral("it is a socket, not a file");
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return QStringLiteral("it is a device, not a file");
    return QStringLiteral("it is not a regular file");
}

QByteArray folder_of(const QByteArray& path)
{
    const int slash = path.lastIndexOf('/');
    return slash < 0 ? QByteArray(".") : path.left(slash);
}

// The path a chain of links ends at. Relative targets are joined to the
// link's folder as written, never cleaned, so ".." means what it means to
// the kernel. False only for a loop or a chain too long to follow.
bool follow_links(QByteArray path, QByteArray* end, QString* error)
{
    for (int depth = 0; depth < 40; ++depth) {
        struct stat st;
        if (::lstat(path.constData(), &st) != 0 || !S_ISLNK(st.st_mode)) {
            *end = path;
            return true;
        }
        std::vector<char> buffer(4096);
        ssize_t n;
        while ((n = ::readlink(path.constData(), buffer.data(), buffer.size())) == ssize_t(buffer.size()))
            buffer.resize(buffer.size() * 2);
        if (n < 0)
            return fail(error, errno_text(errno));
        const QByteArray target(buffer.data(), int(n));
        path = target.startsWith('/') ? target : folder_of(path) + '/' + target;
    }
    return fail(error, errno_text(ELOOP));
}

// Temporaries are named ".<file>.<8 hex digits>.tmp" beside their file.
bool is_temporary_of(const char* entry, const QByteArray& file_name)
{
    const QByteArray name(entry);
    const int head = file_name.size() + 2;
    if (name.size() != head + 12 || name[0] != '.' || !name.endsWith(".tmp") ||
        name.mid(1, file_name.size()) != file_name || name[head - 1] != '.')
        return false;
    for (int i = head; i < head + 8; ++i)
        if (!((name[i] >= '0' && name[i] <= '9') || (name[i] >= 'a' && name[i] <= 'f')))
            return false;
    return true;
}

// A save killed half way leaves its temporary behind; the next save of the
// same file takes it away.
void remove_leftovers(const QByteArray& folder, const QByteArray& file_name)
{
    DIR* dir = ::opendir(folder.constData());
    if (!dir)
        return;
    while (const dirent* entry = ::readdir(dir)) {
        if (!is_temporary_of(entry->d_name, file_name))
            continue;
        const QByteArray path = folder + '/' + entry->d_name;
        struct stat st;
        if (::lstat(path.constData(), &st) == 0 && S_ISREG(st.st_mode))
            ::unlink(path.constData());
    }
    ::closedir(dir);
}

// The temporary file: closed and removed unless it was moved into place.
struct temporary {
    QByteArray path;
    int fd = -1;
    bool placed = false;
    ~temporary()
    {
        if (fd >= 0)
            ::close(fd);
        if (!placed && !path.isEmpty())
            ::unlink(path.constData());
    }
};

// macOS's fsync leaves the data in the drive's cache; F_FULLFSYNC empties
// it where the file system can.
bool flush_to_disk(int fd)
{
#ifdef F_FULLFSYNC
    if (::fcntl(fd, F_FULLFSYNC) == 0)
        return true;
#endif
    return ::fsync(fd) == 0;
}

bool write_all(int fd, const QByteArray& bytes, QString* error)
{
    const char* data = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const long n = test_writer ? test_writer(fd, data, static_cast<unsigned long>(left))
                                   : long(::write(fd, data, size_t(left)));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail(error, errno_text(n < 0 ? errno : ENOSPC));
        data += n;
        left -= n;
    }
    return true;
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
        return refuse(errno_text(ENOENT));
    // A link stays a link: the file at the end of the chain is replaced.
    QByteArray target;
    if (!follow_links(QFile::encodeName(path), &target, error))
        return false;
    struct stat old;
    const bool exists = ::stat(target.constData(), &old) == 0;
    if (!exists && errno != ENOENT)
        return refuse(errno_text(errno));
    if (exists && !S_ISREG(old.st_mode))
        return fail(error, not_a_file_text(old.st_mode));
    // Renaming needs only the folder's permission, so a file marked
    // read-only would be replaced without this; root is held to it too.
    if (exists && ((old.st_mode & 0222) == 0 || ::access(target.constData(), W_OK) != 0))
        return refuse(QStringLiteral("the file is read-only"));

    const QByteArray folder = folder_of(target);
    const QByteArray file_name = target.mid(target.lastIndexOf('/') + 1);
    remove_leftovers(folder, file_name);

    // The file's own permissions from the first byte (narrowed by the umask
    // until fchmod below), so its contents are never readable by more people
    // than the file's; a new file gets the usual mode under the umask.
    const mode_t mode = exists ? (old.st_mode & 0777) : 0666;
    temporary temp;
    for (int attempt = 0; attempt < 16 && temp.fd < 0; ++attempt) {
        const QByteArray name = folder + "/." + file_name + '.' +
                                QByteArray::number(QRandomGenerator::global()->generate(), 16).rightJustified(8, '0') +
                                ".tmp";
        temp.fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (temp.fd >= 0)
            temp.path = name;
        else if (errno != EEXIST)
            return refuse(QStringLiteral("no file can be created in %1: %2")
                              .arg(QFile::decodeName(folder), errno_text(errno)));
    }
    if (temp.fd < 0)
        return fail(error, QStringLiteral("no temporary name is free in %1").arg(QFile::decodeName(folder)));
    if (exists) {
        // The owner carries over where we may set it (as root); otherwise
        // the file becomes ours, as any new file would.
        const bool owner_kept = ::fchown(temp.fd, old.st_uid, old.st_gid) == 0;
        Q_UNUSED(owner_kept)
        if (::fchmod(temp.fd, mode) != 0)
            return fail(error, errno_text(errno));
    }

    if (!write_all(temp.fd, bytes, error))
        return false;
    // Flushed before the rename, so a crash leaves the old file or the new
    // one, never a name pointing at blocks not yet on disk.
    if (!flush_to_disk(temp.fd))
        return fail(error, QStringLiteral("the data could not be flushed to disk: %1").arg(errno_text(errno)));
    // Network file systems may report a full disk or quota only here.
    const int closed = ::close(temp.fd);
    temp.fd = -1;
    if (closed != 0)
        return fail(error, errno_text(errno));
    if (::rename(temp.path.constData(), target.constData()) != 0)
        return fail(error, QStringLiteral("the new file could not replace the old one: %1").arg(errno_text(errno)));
    temp.placed = true;
    // The rename itself reaches the disk with the folder.
    const int dir = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

read_open open_regular_file(QFile& file, const QString& path, QString* error)
{
    const auto failed = [error](const QString& why, read_open result = read_open::failed) {
        fail(error, why);
        return result;
    };
    const QByteArray name = QFile::encodeName(path);
    struct stat st;
    // Looked at before opening, as opening some devices already does
    // something (a tape rewinds, a terminal becomes ours).
    if (name.isEmpty() || ::stat(name.constData(), &st) != 0)
        return failed(errno_text(name.isEmpty() ? ENOENT : errno));
    if (!S_ISREG(st.st_mode))
        return failed(not_a_file_text(st.st_mode), read_open::not_a_file);
    // Non-blocking, so a FIFO put in its place since cannot hold the open,
    // and checked again on what was actually opened.
    const int fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return failed(errno_text(errno));
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        const QString why = S_ISREG(st.st_mode) ? errno_text(errno) : not_a_file_text(st.st_mode);
        ::close(fd);
        return failed(why, read_open::not_a_file);
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    if (!file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        return failed(file.errorString());
    }
    return read_open::ok;
}

#endif
