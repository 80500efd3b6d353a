#include "model/safe_file.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

#ifdef Q_OS_WIN
#include <io.h>
#include <windows.h>
#else
#include <cstdio>
#include <unistd.h>
#endif

namespace {

bool fail(QString* error, const QString& why)
{
    if (error)
        *error = why;
    return false;
}

bool sync_to_disk(QFile& file)
{
#ifdef Q_OS_WIN
    return _commit(file.handle()) == 0;
#else
    return ::fsync(file.handle()) == 0;
#endif
}

bool replace(const QString& from, const QString& to)
{
#ifdef Q_OS_WIN
    return MoveFileExW(reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(from).utf16()),
                       reinterpret_cast<const wchar_t*>(QDir::toNativeSeparators(to).utf16()),
                       MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
#else
    // rename() swaps the name atomically: the old file is there until the
    // new one has taken its place.
    return std::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) == 0;
#endif
}

} // namespace

bool write_file_safely(const QString& path, const QByteArray& bytes, QString* error, bool* not_created)
{
    if (not_created)
        *not_created = false;
    QFileInfo info(path);
    // A link keeps pointing at the file it names; the file behind it is replaced.
    if (info.isSymLink())
        info = QFileInfo(info.symLinkTarget());
    if (info.exists() && !info.isFile())
        return fail(error, QStringLiteral("it is not a file"));
    const QString target = info.absoluteFilePath();
    const QString dir = info.absolutePath();

    // A fresh name beside the target, so the final rename stays on one disk.
    QFile temp;
    for (int attempt = 0; attempt < 16 && !temp.isOpen(); ++attempt) {
        temp.setFileName(QStringLiteral("%1/.%2.%3.tmp")
                             .arg(dir, info.fileName())
                             .arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0')));
        if (temp.open(QIODevice::WriteOnly | QIODevice::NewOnly | QIODevice::Unbuffered))
            break;
        if (temp.exists())
            continue;
        if (not_created)
            *not_created = true;
        return fail(error, QStringLiteral("no file can be created in %1: %2")
                               .arg(QDir::toNativeSeparators(dir), temp.errorString()));
    }
    if (!temp.isOpen())
        return fail(error, QStringLiteral("no temporary name is free in %1").arg(QDir::toNativeSeparators(dir)));

    // Unbuffered, so every error (a full disk, a size limit) shows here and
    // not in some later flush nobody checks.
    QString why;
    if (temp.write(bytes) != bytes.size())
        why = temp.errorString();
    else if (!sync_to_disk(temp))
        why = QStringLiteral("the data could not be flushed to disk");
    if (why.isEmpty()) {
        temp.close();
        if (temp.error() != QFileDevice::NoError)
            why = temp.errorString();
    }
    if (why.isEmpty() && temp.size() != bytes.size())
        why = QStringLiteral("the file was cut short");
    if (why.isEmpty() && info.exists())
        temp.setPermissions(QFile::permissions(target));
    if (why.isEmpty() && !replace(temp.fileName(), target))
        why = QStringLiteral("the new file could not replace the old one");
    if (!why.isEmpty()) {
        temp.close();
        temp.remove();
        return fail(error, why);
    }
    return true;
}
