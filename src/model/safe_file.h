// Writing a file so that a failure at any step leaves the previous one intact.
#pragma once

#include <QByteArray>
#include <QString>

// Writes the bytes to a temporary file beside `path`, flushes them to disk
// and renames it over `path`. On failure `path` is untouched, the temporary
// is removed and *error (when given) says why; *not_created is set when no
// file could be made in the folder at all (no write permission there).
bool write_file_safely(const QString& path, const QByteArray& bytes, QString* error,
                       bool* not_created = nullptr);
