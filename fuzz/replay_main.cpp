// Replays inputs without libFuzzer: every file named, and every file in every
// folder named, runs once through the harness. A fault crashes the process
// (or trips a sanitizer), which fails the test that runs it.
#include "fuzz_support.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

bool run_file(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
        return false;
    }
    const QByteArray data = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(data.constData()), std::size_t(data.size()));
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    // Names are resolved first: the harness works in a folder of its own.
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QFileInfo(QString::fromLocal8Bit(argv[i])).absoluteFilePath();
    fuzz::start_application();
    int ran = 0;
    bool ok = true;
    for (const QString& arg : args) {
        QFileInfo info(arg);
        if (info.isDir()) {
            const QStringList names = QDir(arg).entryList(QDir::Files, QDir::Name);
            for (const QString& name : names) {
                ok = run_file(QDir(arg).filePath(name)) && ok;
                ++ran;
            }
        } else {
            ok = run_file(arg) && ok;
            ++ran;
        }
    }
    std::printf("%d inputs replayed\n", ran);
    // An empty corpus would pass while testing nothing.
    return ok && ran > 0 ? 0 : 1;
}
