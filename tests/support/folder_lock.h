// Makes a folder unwritable (immutable where chattr works, which holds even
// for root) and back, for tests of writes that must fail.
#pragma once

#include <QFile>
#include <QProcess>
#include <QString>

inline bool lock_folder(const QString& path, bool on)
{
    if (QProcess::execute("chattr", {on ? "+i" : "-i", path}) == 0)
        return true;
    return QFile::setPermissions(path, on ? QFileDevice::ReadOwner | QFileDevice::ExeOwner
                                          : QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
}
