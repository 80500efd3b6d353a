// Where quillmarsh-pkr reads and writes: files, or standard input and output
// for "-", always bounded, and never over a file it did not make unless told.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace pkr_io {

// Standard input or output in place of a file.
inline bool is_std(const QString& path)
{
    return path == QLatin1String("-");
}

// The bytes of a regular file (or standard input for "-"), at most `limit`
// of them: more is refused, so a huge or endless input costs nothing.
bool read_input(const QString& path, qint64 limit, QByteArray* bytes, QString* why);

// False, naming the first one, when any of the paths is an existing file
// (or link) and `force` is not set, or when two of them are the same file.
bool may_write(const QStringList& paths, bool force, QString* why);

// Writes the whole of the bytes to the file (atomically) or to standard
// output for "-".
bool write_output(const QString& path, const QByteArray& bytes, QString* why);

} // namespace pkr_io
