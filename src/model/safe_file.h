// Files read and written so that hostile paths and failing disks cost
// nothing: a write lands whole or not at all, and only regular files are read.
#pragma once

#include <QByteArray>
#include <QString>

class QFile;

// Writes the bytes to a temporary file beside the file `path` names (links
// followed to it, at any depth) and renames it over that file. On failure the
// file is untouched, the temporary is removed and *error (when given) says
// why; *refused is set when the file could not be opened for writing at all
// (it is read-only, or no file can be made in its folder).
bool write_file_safely(const QString& path, const QByteArray& bytes, QString* error,
                       bool* refused = nullptr);

enum class read_open { ok, failed, not_a_file };

// Opens `path` for reading when it is a regular file (links followed). A
// pipe, socket, device or folder is refused before a byte is read, and a FIFO
// with no writer never blocks. Otherwise *error (when given) says why.
read_open open_regular_file(QFile& file, const QString& path, QString* error);

namespace safe_file_testing {
// Every write of write_file_safely goes through this when set, with the
// contract of ::write, so tests can fill a disk or a quota anywhere. Only
// the POSIX implementation writes that way; the others ignore it.
using writer = long (*)(int fd, const char* data, unsigned long size);
void set_writer(writer w);
} // namespace safe_file_testing
