// What the largest data the readers accept costs in memory, opened the way
// the picker opens it: a .pkr, a scene's picker data and a paste, each full
// of object names (distinct short names, and one short name repeated, as a
// compression bomb holds them), each case in a process of its own. The peak
// resident memory a case adds is set beside the bytes it read: a name must
// cost a small constant times its bytes.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_memory
#include "bench_data.h"

#include "model/limits.h"
#include "model/picker_file.h"
#include "model/picker_page.h"
#include "model/picker_stream.h"
#include "model/scene_data.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDataStream>
#include <QFile>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

namespace {

// A name held costs some 80 bytes whatever its length (its string, its slot
// in the button's list, the process's table of names): twelve times the
// bytes of the shortest distinct names, three times names of a rig's length.
constexpr double goal = 12;

qint64 peak_kb()
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    return 0;
}

// The n-th of the shortest names that differ: two characters of the CJK block.
QString two_characters(int n)
{
    const QChar pair[2] = {QChar(0x4e00 + n / 20000), QChar(0x4e00 + n % 20000)};
    return QString(pair, 2);
}

// The most names a file may hold: distinct ones, or one name over and over
// (then as many as fill `bytes` of stream, most of them over the bound and
// read only to be dropped).
QList<buttonAttributes> named_buttons(qint64 bytes, bool distinct)
{
    const int per_button = distinct ? 2000 : limits::max_names;
    const qint64 names = distinct ? limits::max_total_names : bytes / (4 + 2);
    const int buttons = int(std::min<qint64>(names / per_button, limits::max_buttons));
    QList<buttonAttributes> list;
    int n = 0;
    for (int b = 0; b < buttons; ++b) {
        buttonAttributes a;
        a.pos = QPoint(b % 100 * 30, b / 100 * 30);
        a.size = a.width = a.height = 20;
        a.names.reserve(per_button);
        for (int i = 0; i < per_button; ++i)
            a.names << (distinct ? two_characters(n++) : QString("a"));
        list.append(a);
    }
    return list;
}

// Runs `work` in a child process and reports the peak it added there.
void measure(const QString& what, const std::function<qint64()>& work)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const qint64 before = peak_kb();
        const qint64 read = work();
        const double added = double(peak_kb() - before) / 1024;
        const double mb = double(read) / (1 << 20);
        std::printf("memory, %s: %.0f MB at peak for %.1f MB read, ratio %.2f (goal %.0f)\n", qPrintable(what), added,
                    mb, added / mb, goal);
        std::fflush(stdout);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    bench::banner("bench_memory");
    const qint64 budget = limits::max_file_bytes - (1 << 20);
    for (bool distinct : {true, false}) {
        const QString names = distinct ? "distinct two-character names" : "one name repeated";
        const QList<buttonAttributes> buttons = named_buttons(budget, distinct);
        const QByteArray pkr = write_pkr(pkr_header(), buttons);
        QByteArray stream;
        {
            QDataStream out(&stream, QIODevice::WriteOnly);
            out << qint32(5) << qint32(1) << qint32(0) << qint32(0) << QString("tab") << QString();
            write_button_list(out, buttons);
        }
        const QByteArray scene_text = encode_picker_data(stream);
        QByteArray payload;
        {
            QDataStream out(&payload, QIODevice::WriteOnly);
            writeButtonAttributes(out, buttons);
        }
        measure(QString(".pkr of %1").arg(names), [&] {
            QByteArray bytes = pkr;
            QBuffer file(&bytes);
            file.open(QIODevice::ReadOnly);
            pkr_contents got;
            read_pkr(file, got, nullptr);
            picker_page page;
            page.insert_all(std::move(got.buttons));
            page.conform_to_selection();
            return qint64(pkr.size());
        });
        measure(QString("scene data of %1 (%2 KB of scene text)").arg(names).arg(scene_text.size() >> 10), [&] {
            QDataStream in(decode_picker_data(scene_text));
            window_contents got;
            read_window_stream(in, got);
            picker_page page;
            for (window_tab& tab : got.tabs)
                page.insert_all(std::move(tab.buttons));
            page.conform_to_selection();
            return qint64(stream.size());
        });
        measure(QString("paste of %1").arg(names), [&] {
            QDataStream in(payload);
            picker_page page;
            page.insert_all(readButtonAttributes(in).toVector());
            page.conform_to_selection();
            return qint64(payload.size());
        });
    }
    return 0;
}
