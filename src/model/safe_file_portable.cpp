// The implementation of model/safe_file.h for systems with neither POSIX
// nor Win32, through QtCore alone. QSaveFile writes beside the file,
// flushes and renames, so a failed save still leaves the old file whole;
// what is lost is the refusal of a FIFO swapped in between look and open.
#include "model/platform.h"

#ifdef QUILL_FILES_PORTABLE

#include "model/safe_file.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

// The writer hook stands for ::write, which this implementation does not use.
void safe_file_testing::set_writer(writer) {}

namespace {

bool fail(QString* error, const QString& why)
{
    if (error)
        *error = why;
    return false;
}

QString not_a_file_text(const QFileInfo& info)
{
    return info.isDir() ? QStringLiteral("it is a folder, not a file") : QStringLiteral("it is not a regular file");
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
        return refuse(QStringLiteral("No such file or directory"));
    // A link stays a link: the file at the end of the chain is replaced,
    // even when that file does not exist yet.
    QString target = path;
    for (int depth = 0; QFileInfo(target).isSymLink(); ++depth) {
        if (depth == 40)
            return fail(error, QStringLiteral("Too many levels of symbolic links"));
        target = QFileInfo(target).symLinkTarget();
    }
    const QFileInfo info(target);
    if (info.exists() && !info.isFile())
        return fail(error, not_a_file_text(info));
    // Renaming needs only the folder's permission, so a file marked
    // read-only would be replaced without this; root is held to it too.
    const QFile::Permissions writable = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
    if (info.exists() && (!info.isWritable() || !(info.permissions() & writable)))
        return refuse(QStringLiteral("the file is read-only"));
    // QSaveFile gives the new file the old one's permissions.
    QSaveFile file(target);
    if (!file.open(QIODevice::WriteOnly))
        return refuse(file.errorString());
    if (file.write(bytes) != bytes.size())
        return fail(error, file.errorString());
    if (!file.commit())
        return fail(error, file.errorString());
    return true;
}

read_open open_regular_file(QFile& file, const QString& path, QString* error)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists()) {
        fail(error, QStringLiteral("No such file or directory"));
        return read_open::failed;
    }
    if (!info.isFile()) {
        fail(error, not_a_file_text(info));
        return read_open::not_a_file;
    }
    file.setFileName(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(error, file.errorString());
        return read_open::failed;
    }
    return read_open::ok;
}

#endif
