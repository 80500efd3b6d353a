#include "pkr_io.h"

#include "model/safe_file.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cstdio>

namespace pkr_io {

bool read_input(const QString& path, qint64 limit, QByteArray* bytes, QString* why)
{
    const QString shown = is_std(path) ? QString("standard input") : QString("\"%1\"").arg(path);
    if (is_std(path)) {
        // fread waits for whole blocks, as a pipe delivers them in pieces.
        QByteArray data;
        char block[65536];
        size_t got = 0;
        while ((got = std::fread(block, 1, sizeof block, stdin)) > 0) {
            data.append(block, int(got));
            if (data.size() > limit)
                break;
        }
        if (std::ferror(stdin)) {
            *why = "cannot read standard input";
            return false;
        }
        *bytes = data;
    } else {
        QFile file;
        QString reason;
        if (open_regular_file(file, path, &reason) != read_open::ok) {
            *why = QString("cannot open %1: %2").arg(shown, reason);
            return false;
        }
        *bytes = file.read(limit + 1);
    }
    if (bytes->size() > limit) {
        *bytes = QByteArray();
        *why = QString("%1 is larger than the %2 MB this tool reads").arg(shown).arg(limit >> 20);
        return false;
    }
    return true;
}

bool may_write(const QStringList& paths, bool force, QString* why)
{
    QSet<QString> seen;
    for (const QString& path : paths) {
        if (is_std(path))
            continue;
        const QFileInfo info(path);
        const QString same = info.absoluteFilePath();
        if (seen.contains(same)) {
            *why = QString("\"%1\" would be written twice").arg(path);
            return false;
        }
        seen.insert(same);
        // A dangling link counts: writing would make the file it names.
        if (!force && (info.exists() || info.isSymLink())) {
            *why = QString("\"%1\" exists; give --force to write over it").arg(path);
            return false;
        }
    }
    return true;
}

bool write_output(const QString& path, const QByteArray& bytes, QString* why)
{
    if (is_std(path)) {
        if (std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout) != size_t(bytes.size())
            || std::fflush(stdout) != 0) {
            *why = "cannot write to standard output";
            return false;
        }
        return true;
    }
    QString reason;
    if (write_file_safely(path, bytes, &reason))
        return true;
    *why = QString("cannot write \"%1\": %2").arg(path, reason);
    return false;
}

} // namespace pkr_io
