// Picker files against hostile and failing disks: files that are no picker,
// pipes and devices, damaged files, huge labels, saves whose write fails half
// way, and saves through links and onto read-only files.
#include "folder_lock.h"
#include "modal_helper.h"
#include "pkr_file.h"
#include "model/limits.h"
#include "model/picker_file.h"
#include "model/safe_file.h"
#include "model/scene_data.h"
#include "model/side_patterns.h"
#include "recording_host.h"
#include "view/picker_view.h"
#include "window/picker_files.h"
#include "window/picker_window.h"

#include <QBuffer>
#include <QDataStream>
#include <QDir>
#include <QImageWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace {

QList<buttonAttributes> buttons(int count)
{
    QList<buttonAttributes> list;
    for (int j = 0; j < count; ++j)
        list << button_at(QPoint(20 * j, 10), {QString("hero:ctrl_%1").arg(j)});
    return list;
}

// A picker file of nine buttons; `background` adds a real image, and
// `patterns` the side patterns after the buttons.
QByteArray nine_buttons(bool background = false, const QStringList& patterns = {})
{
    pkr_header header;
    header.name = "Hero";
    header.mirrorPatterns = patterns;
    if (background) {
        QImage image(6, 4, QImage::Format_ARGB32);
        image.fill(Qt::darkCyan);
        header.backgroundKey = "42";
        header.background = png_picture::from_image(image);
    }
    return write_pkr(header, buttons(9));
}

void write(const QString& path, const QByteArray& data)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(data), qint64(data.size()));
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

// Answers the next message box with OK, keeping its title and text.
struct seen_box {
    QString title;
    QString text;
};
void answer_ok(seen_box* seen)
{
    modal_helper::with_next([seen](QWidget* w) {
        seen->title = w->windowTitle();
        if (auto* box = qobject_cast<QMessageBox*>(w))
            seen->text = box->text();
        modal_helper::answer(w, "OK");
    });
}

// A small picture as a PNG file: `quality` picks the compression, `comment`
// adds a text chunk; either way not the bytes a pixmap's stream operator makes.
QByteArray png_file(int quality, const QString& comment = QString())
{
    QImage image(12, 8, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb(x * 20, y * 30, 90));
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(quality);
    if (!comment.isEmpty())
        writer.setText("Comment", comment);
    writer.write(image);
    return png;
}

// The decoded text of the last file-info entry `key` the window wrote.
QByteArray scene_entry(const recording_host& host, const QString& key)
{
    const QString head = QString("fileInfo \"%1\" \"").arg(key);
    for (int i = host.now.size() - 1; i >= 0; --i) {
        const QString& command = host.now[i];
        if (command.startsWith(head))
            return command.mid(head.size(), command.indexOf('"', head.size()) - head.size()).toLatin1();
    }
    return QByteArray();
}

QByteArray marked(const QByteArray& png)
{
    return QByteArray("\0\0\0\x01", 4) + png;
}

// Writers for the save's seam. The first sends the bytes to /dev/full, so the
// kernel itself says the disk is full; the second writes part of them and
// then meets the quota, the case a short write must not call "Unknown error".
long write_to_full_disk(int, const char* data, unsigned long size)
{
    const int full = ::open("/dev/full", O_WRONLY);
    const long n = ::write(full, data, size);
    const int why = errno;
    ::close(full);
    errno = why;
    return n;
}
long write_until_quota(int fd, const char* data, unsigned long size)
{
    static bool first = true;
    if (std::exchange(first, false))
        return ::write(fd, data, size / 2);
    first = true;
    errno = EDQUOT;
    return -1;
}
// Notes the temporary file's permissions when its first byte is written.
int mode_at_first_write = -1;
long write_noting_mode(int fd, const char* data, unsigned long size)
{
    struct stat st;
    if (mode_at_first_write < 0 && ::fstat(fd, &st) == 0)
        mode_at_first_write = int(st.st_mode & 0777);
    return ::write(fd, data, size);
}

int mode_of(const QString& path)
{
    struct stat st;
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? int(st.st_mode & 0777) : -1;
}

QString link_target(const QString& path)
{
    char target[4096];
    const ssize_t n = ::readlink(QFile::encodeName(path).constData(), target, sizeof target);
    return n < 0 ? QString() : QFile::decodeName(QByteArray(target, int(n)));
}

QStringList folder_entries(const QString& path)
{
    return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}
} // namespace

class test_files : public QObject {
    Q_OBJECT

    recording_host* host = nullptr;
    picker_window* window = nullptr;
    QTemporaryDir dir;

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        host = new recording_host;
        window = new picker_window(nullptr);
    }

    void cleanup()
    {
        delete window;
        delete host;
    }

    // A file that is no picker is refused; a damaged one opens with what was
    // read, untied to its file, which is never overwritten with less.
    void a_damaged_file_opens_with_what_was_read_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<int>("buttons"); // -1: refused
        QTest::addColumn<QString>("warning");
        QTest::newRow("empty") << QByteArray() << -1 << "Could not open the file";
        QTest::newRow("header cut short") << nine_buttons().left(9) << -1 << "Could not open the file";
        const QString unbound = "\n\nThe tab is not tied to the file, so Save asks for a new name.";
        const QString image = "The background image of hero.pkr was not loaded: it is over the size limit "
                              "(4096 x 4096 pixels) or cannot be decoded.";
        const QByteArray whole = nine_buttons();
        // Each button record of nine_buttons() takes the same number of bytes.
        const int record = (whole.size() - (nine_buttons().indexOf(QByteArray("\0\0\0\x09", 4)) + 4)) / 9;
        QTest::newRow("cut inside the fifth button")
            << whole.left(whole.size() - 4 * record - record / 2) << 4 << "hero.pkr is damaged: 4 of 9 buttons were read." + unbound;

        QByteArray pixels = nine_buttons(true);
        const int idat = pixels.indexOf("IDAT");
        pixels[idat + 6] = char(pixels[idat + 6] ^ 0x5a);
        QTest::newRow("damaged image data") << pixels << 9 << image + unbound;

        QByteArray both = pixels.left(pixels.size() - 2 * record - 3);
        QTest::newRow("damaged image, cut buttons")
            << both << 6 << "hero.pkr is damaged: 6 of 9 buttons were read.\n\n" + image + unbound;

        const QString patterns = "The side patterns of hero.pkr could not be read; the picker mirrors by your "
                                 "default ones.";
        const QByteArray sided = nine_buttons(false, {"lf_", "rt_"});
        QTest::newRow("side patterns cut short") << sided.left(sided.size() - 3) << 9 << patterns + unbound;
        // "lf_" for "lf__": one pair on both sides.
        QByteArray same = sided;
        same.replace(QByteArray("\0r\0t\0_", 6), QByteArray("\0l\0f\0_", 6));
        QTest::newRow("side patterns that make no pairs") << same << 9 << patterns + unbound;
    }
    void a_damaged_file_opens_with_what_was_read()
    {
        QFETCH(QByteArray, data);
        QFETCH(int, buttons);
        QFETCH(QString, warning);
        const QString path = dir.filePath("hero.pkr");
        write(path, data);
        seen_box seen;
        answer_ok(&seen);
        window->load_one_picker(path);
        if (buttons < 0) {
            QCOMPARE(seen.title, QString("Open Failed"));
            QVERIFY2(seen.text.startsWith(QString("%1 \"%2\"").arg(warning, QDir::toNativeSeparators(path))),
                     qPrintable(seen.text));
            QCOMPARE(window->tabs()->count(), 1);
            QVERIFY(!host->mel.contains("QuillmarshPicker \"bind\" `picker_ListNamespaces`;"));
            return;
        }
        QCOMPARE(seen.title, QString("Damaged Picker"));
        QCOMPARE(seen.text, warning);
        QCOMPARE(window->tabs()->count(), 2);
        picker_view* view = window->frontPicker();
        // No file holds what the tab shows: it is marked modified.
        QCOMPARE(window->tabs()->tabText(1), QString("Hero*"));
        QCOMPARE(view->buttons().size(), buttons);
        QVERIFY(view->background().isNull());
        // Not tied to the file: Save asks for a name (cancelled here), and the
        // damaged file is never overwritten with less.
        QVERIFY(view->path().isEmpty());
        modal_helper::answer_next(QString());
        window->save_current();
        QCOMPARE(contents(path), data);
    }

    void a_picture_file_is_stored_as_its_own_bytes_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QByteArray>("kept");
        QTest::addColumn<QString>("key"); // the background key, when read from a .pkr
        const QByteArray packed = png_file(0, "drawn by hand");
        QTest::newRow("PNG file, highest compression, a text chunk") << packed << packed << QString();
        QTest::newRow("picker file") << packed << packed << "42";
    }
    void a_picture_file_is_stored_as_its_own_bytes()
    {
        QFETCH(QByteArray, file);
        QFETCH(QByteArray, kept);
        QFETCH(QString, key);
        picker_view* view = window->frontPicker();
        if (key.isEmpty()) {
            // The directive's and the dialog's path.
            const QString path = dir.filePath("back.png");
            write(path, file);
            QString why;
            const png_picture picture = load_image_file(path, &why);
            QVERIFY2(!picture.isNull(), qPrintable(why));
            window->place_background(view, QString::number(picture.key()), picture);
            view->push_button(buttons(1)[0], -1);
            view->signal_changed();
        } else {
            pkr_header header;
            header.name = "Hero";
            header.backgroundKey = key;
            header.background = png_picture::decode(file);
            const QString path = dir.filePath("opened.pkr");
            write(path, write_pkr(header, buttons(3)));
            window->load_one_picker(path);
            view = window->frontPicker();
            QCOMPARE(view->backgroundKey(), key);
            QCOMPARE(view->path(), path);
        }

        // The scene: the image entry holds those bytes; the picker data only
        // names it.
        host->clear();
        QVERIFY(window->flushSceneData(false));
        QCOMPARE(QByteArray::fromBase64(scene_entry(*host, "QuillmarshPickerImage_" + view->backgroundKey())),
                 marked(kept));
        const QByteArray data = decode_picker_data(scene_entry(*host, "QuillmarshPickerData"));
        QVERIFY(!data.contains(kept.left(64)));
        // Restored from that data, the window writes the same data again.
        picker_window restored(nullptr);
        {
            QDataStream in(data);
            restored.streamFrom(in);
        }
        QByteArray again;
        {
            QDataStream out(&again, QIODevice::WriteOnly);
            restored.streamTo(out);
        }
        QCOMPARE(again, data);

        // A saved file holds them, and opened and saved again it is the same file.
        const QString first = dir.filePath("first.pkr"), second = dir.filePath("second.pkr");
        QVERIFY(window->do_save(view, first));
        QVERIFY(contents(first).contains(marked(kept)));
        window->load_one_picker(first);
        QVERIFY(window->do_save(window->frontPicker(), second));
        QCOMPARE(contents(second), contents(first));
    }

    void tabs_share_a_key_only_for_the_same_bytes()
    {
        // Two files name their pictures "42": the same pixels, stored as
        // different bytes. The scene keeps each file's bytes under a key of its own.
        const QByteArray packed = png_file(0), stored = png_file(100);
        QCOMPARE(QImage::fromData(packed), QImage::fromData(stored));
        QVERIFY(packed != stored);
        const QStringList paths{dir.filePath("packed.pkr"), dir.filePath("stored.pkr")};
        for (int i = 0; i < 2; ++i) {
            pkr_header header;
            header.name = "Hero";
            header.backgroundKey = "42";
            header.background = png_picture::decode(i ? stored : packed);
            write(paths[i], write_pkr(header, buttons(2)));
        }
        window->load_pickers({paths[0], paths[0], paths[1]});
        QCOMPARE(window->tabs()->count(), 4);
        auto view = [this](int i) { return qobject_cast<picker_view*>(window->tabs()->widget(i)); };
        QCOMPARE(view(1)->backgroundKey(), QString("42"));
        QCOMPARE(view(2)->backgroundKey(), QString("42"));
        QVERIFY(view(3)->backgroundKey() != "42");
        host->clear();
        QVERIFY(window->flushSceneData(false));
        QCOMPARE(QByteArray::fromBase64(scene_entry(*host, "QuillmarshPickerImage_42")), marked(packed));
        QCOMPARE(QByteArray::fromBase64(scene_entry(*host, "QuillmarshPickerImage_" + view(3)->backgroundKey())),
                 marked(stored));
    }

    void label_pictures_are_bounded_data()
    {
        QTest::addColumn<QString>("label");
        QTest::newRow("a million letters") << QString(1000000, 'W');
        QTest::newRow("one letter under many accents") << "a" + QString(20000, QChar(0x0301));
        QTest::newRow("a million line breaks") << QString(1000000, '\n') + "x";
    }
    void label_pictures_are_bounded()
    {
        QFETCH(QString, label);
        picker_view* view = window->frontPicker();
        view->push_button(button_at(QPoint(0, 10), {"hero:ctrl_0"}, label), -1);
        const buttonRecord& r = view->buttons().last();
        QCOMPARE(r.label, label); // the text itself is kept whole
        QVERIFY(!r.labelPixmap.isNull());
        QVERIFY2(r.labelPixmap.width() <= limits::max_label_width, qPrintable(QString::number(r.labelPixmap.width())));
        QVERIFY2(r.labelPixmap.height() <= limits::max_label_height, qPrintable(QString::number(r.labelPixmap.height())));
        QVERIFY(r.bounds.width() <= limits::max_label_width + 2);
    }

    void a_save_that_cannot_write_keeps_the_old_file_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("says");
        const QString refused = QString("Could not open the file \"%1\" for writing.\n\nPlease check that this file "
                                        "is not locked and that you have the proper permissions and try again.");
        const QString kept = "Could not save the file \"%1\": %2.\n\nThe previous file is unchanged.";
        QTest::newRow("file size limit while writing") << "size limit" << kept.arg("%1", "File too large");
        QTest::newRow("disk full") << "full" << kept.arg("%1", "No space left on device");
        QTest::newRow("quota met after a short write") << "quota" << kept.arg("%1", "Disk quota exceeded");
        QTest::newRow("path is a folder") << "folder" << kept.arg("%1", "it is a folder, not a file");
        QTest::newRow("folder refuses new files") << "locked" << refused;
        QTest::newRow("read-only file") << "read-only" << refused;
    }
    void a_save_that_cannot_write_keeps_the_old_file()
    {
        QFETCH(QString, how);
        QFETCH(QString, says);
        QTemporaryDir place;
        const QString path = place.filePath(how == "folder" ? "a folder.pkr" : "hero.pkr");
        const QByteArray old = nine_buttons(true);
        if (how == "folder")
            QVERIFY(QDir().mkdir(path));
        else
            write(path, old);
        picker_view* view = window->frontPicker();
        for (const buttonAttributes& a : buttons(400))
            view->push_button(a, -1);

        if (how == "size limit") {
            // A real failing write: a child process may not write more than
            // 4 KB to any file, and ignores the signal that would kill it.
            const pid_t child = fork();
            QVERIFY(child >= 0);
            if (child == 0) {
                struct rlimit limit = {4096, 4096};
                setrlimit(RLIMIT_FSIZE, &limit);
                std::signal(SIGXFSZ, SIG_IGN);
                seen_box seen;
                answer_ok(&seen);
                const bool saved = window->do_save(view, path);
                _exit(saved ? 1 : seen.title == "Save Failed" && seen.text == says.arg(path) ? 0 : 2);
            }
            int status = -1;
            QVERIFY(waitpid(child, &status, 0) == child);
            QVERIFY(WIFEXITED(status));
            QCOMPARE(WEXITSTATUS(status), 0);
        } else {
            if (how == "locked" && !lock_folder(place.path(), true))
                QSKIP("this machine cannot make a folder unwritable");
            QFile probe(place.filePath("probe"));
            if (how == "locked" && probe.open(QIODevice::WriteOnly)) {
                probe.remove();
                lock_folder(place.path(), false);
                QSKIP("the folder stays writable for this user");
            }
            if (how == "read-only")
                QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
            safe_file_testing::set_writer(how == "full" ? write_to_full_disk : how == "quota" ? write_until_quota : nullptr);
            seen_box seen;
            answer_ok(&seen);
            const bool saved = window->do_save(view, path);
            safe_file_testing::set_writer(nullptr);
            if (how == "locked")
                lock_folder(place.path(), false);
            QVERIFY(!saved);
            QCOMPARE(seen.title, QString("Save Failed"));
            QCOMPARE(seen.text, says.arg(path));
        }
        if (how == "folder")
            QVERIFY(QFileInfo(path).isDir());
        else
            QCOMPARE(contents(path), old);
        // Nothing half written is left beside it.
        QCOMPARE(folder_entries(place.path()), QStringList{QFileInfo(path).fileName()});
    }

    void a_save_through_links_replaces_the_file_they_end_at()
    {
        // link -> sub/link -> real.pkr, a private file; a killed save of it
        // left two temporaries, beside files that are not ours to remove.
        QTemporaryDir place;
        const QString real = place.filePath("real.pkr");
        write(real, "old");
        QVERIFY(QFile::setPermissions(real, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
        QVERIFY(QDir(place.path()).mkdir("sub"));
        QVERIFY(QFile::link("../real.pkr", place.filePath("sub/link.pkr")));
        QVERIFY(QFile::link(place.filePath("sub/link.pkr"), place.filePath("link.pkr")));
        const QStringList others{".other.pkr.0badc0de.tmp", ".real.pkr.backup.tmp", ".real.pkr.0BADC0DE.tmp"};
        for (const QString& name : others + QStringList{".real.pkr.0badc0de.tmp", ".real.pkr.00000001.tmp"})
            write(place.filePath(name), "left over");

        picker_view* view = window->frontPicker();
        window->set_tab_text(0, "Hero");
        for (const buttonAttributes& a : buttons(9))
            view->push_button(a, -1);
        mode_at_first_write = -1;
        safe_file_testing::set_writer(write_noting_mode);
        const bool saved = window->do_save(view, place.filePath("link.pkr"));
        safe_file_testing::set_writer(nullptr);
        QVERIFY(saved);
        QCOMPARE(contents(real), nine_buttons(false, side_patterns::built_in()));
        QCOMPARE(link_target(place.filePath("link.pkr")), place.filePath("sub/link.pkr"));
        QCOMPARE(link_target(place.filePath("sub/link.pkr")), QString("../real.pkr"));
        // Never readable by more people than the file, not even for a moment.
        QCOMPARE(mode_at_first_write, 0600);
        QCOMPARE(mode_of(real), 0600);
        QCOMPARE(folder_entries(place.path()), (QStringList{".other.pkr.0badc0de.tmp", ".real.pkr.0BADC0DE.tmp",
                                                            ".real.pkr.backup.tmp", "link.pkr", "real.pkr", "sub"}));

        // A new file gets the usual permissions under the umask.
        const mode_t before = ::umask(027);
        QVERIFY(window->do_save(view, place.filePath("new.pkr")));
        ::umask(before);
        QCOMPARE(mode_of(place.filePath("new.pkr")), 0640);
    }

    void only_regular_files_are_read_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("kind");
        QTest::newRow("a FIFO nobody writes to") << "fifo" << "it is a pipe, not a file";
        QTest::newRow("a device without end") << "/dev/zero" << "it is a device, not a file";
    }
    void only_regular_files_are_read()
    {
        QFETCH(QString, path);
        QFETCH(QString, kind);
        QTemporaryDir place;
        if (path == "fifo") {
            path = place.filePath("hero.pkr");
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        }
        // Refused at once, before a byte is read: nothing waits for a writer.
        seen_box seen;
        answer_ok(&seen);
        window->load_one_picker(path);
        QCOMPARE(seen.title, QString("Open Failed"));
        QCOMPARE(seen.text, QString("Could not open the file \"%1\": %2.\n\nIt is not a picker file.").arg(path, kind));
        QString why;
        QList<opened_picker> opened;
        QVERIFY(!open_into_book(*window->book(), {path}, &why, &opened));
        QCOMPARE(why, QString("\"%1\" is not a picker file: %2").arg(path, kind));
        QVERIFY(load_image_file(path, &why).isNull());
        QCOMPARE(why, QString("could not read the image \"%1\": %2").arg(path, kind));
        QCOMPARE(window->tabs()->count(), 1);
    }

    void a_save_replaces_the_file_whole()
    {
        const QString path = dir.filePath("replaced.pkr");
        write(path, QByteArray(100000, 'x'));
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup);
        picker_view* view = window->frontPicker();
        window->set_tab_text(0, "Hero");
        for (const buttonAttributes& a : buttons(9))
            view->push_button(a, -1);
        QVERIFY(window->do_save(view, path));
        QCOMPARE(contents(path), nine_buttons(false, side_patterns::built_in()));
        // The old file's permissions for group and others carry over.
        QCOMPARE(int(QFile::permissions(path) & 0x00ff), int(QFileDevice::ReadGroup));
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).filter(".tmp"), QStringList());
    }
};

QTEST_MAIN(test_files)
#include "test_files.moc"
