// What every implementation of the safe save and read keeps: a save lands
// whole or leaves the old file as it was, with nothing beside it, and only
// regular files are read. Built against this system's implementation and
// against the QtCore-only one.
#include "folder_lock.h"
#include "model/safe_file.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

QByteArray contents(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<unreadable>");
}

void put(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    QCOMPARE(f.write(bytes), qint64(bytes.size()));
}

QStringList entries(const QString& path)
{
    return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class test_safe_file : public QObject {
    Q_OBJECT

private slots:
    void a_save_replaces_the_file_whole()
    {
        QTemporaryDir place;
        const QString path = place.filePath("hero.pkr");
        QString error;
        QVERIFY2(write_file_safely(path, QByteArray(100000, 'a'), &error), qPrintable(error));
        QVERIFY2(write_file_safely(path, "short", &error), qPrintable(error));
        QCOMPARE(contents(path), QByteArray("short"));
        QCOMPARE(entries(place.path()), QStringList{"hero.pkr"});
    }

    void a_save_that_cannot_be_made_keeps_the_old_file_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<bool>("refused");
        QTest::newRow("the path is a folder") << "folder" << false;
        QTest::newRow("the file is read-only") << "read-only" << true;
        QTest::newRow("the folder takes no new file") << "locked" << true;
        QTest::newRow("the folder is missing") << "missing" << true;
    }
    void a_save_that_cannot_be_made_keeps_the_old_file()
    {
        QFETCH(QString, how);
        QFETCH(bool, refused);
        QTemporaryDir place;
        QString path = place.filePath("hero.pkr");
        if (how == "folder")
            QVERIFY(QDir().mkdir(path));
        else if (how == "missing")
            path = place.filePath("gone/hero.pkr");
        else
            put(path, "old");
        if (how == "read-only")
            QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
        if (how == "locked") {
            QFile probe(place.filePath("probe"));
            if (!lock_folder(place.path(), true) || probe.open(QIODevice::WriteOnly)) {
                probe.remove();
                lock_folder(place.path(), false);
                QSKIP("this machine cannot make a folder unwritable");
            }
        }
        QString error;
        bool was_refused = !refused;
        const bool saved = write_file_safely(path, "new", &error, &was_refused);
        if (how == "locked")
            lock_folder(place.path(), false);
        QVERIFY(!saved);
        QVERIFY(!error.isEmpty());
        QCOMPARE(was_refused, refused);
        if (how == "folder")
            QVERIFY(QFileInfo(path).isDir());
        else if (how != "missing")
            QCOMPARE(contents(path), QByteArray("old"));
        QCOMPARE(entries(place.path()), how == "missing" ? QStringList() : QStringList{"hero.pkr"});
    }

#ifdef Q_OS_UNIX
    void a_write_failing_half_way_keeps_the_old_file()
    {
        // The child may write no more than 4 KB to any file and ignores the
        // signal that would kill it, so the write itself fails.
        QTemporaryDir place;
        const QString path = place.filePath("hero.pkr");
        put(path, "old");
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            struct rlimit limit = {4096, 4096};
            setrlimit(RLIMIT_FSIZE, &limit);
            std::signal(SIGXFSZ, SIG_IGN);
            QString error;
            bool refused = true;
            const bool saved = write_file_safely(path, QByteArray(100000, 'n'), &error, &refused);
            _exit(saved ? 1 : refused || error.isEmpty() ? 2 : 0);
        }
        int status = -1;
        QVERIFY(waitpid(child, &status, 0) == child);
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), 0);
        QCOMPARE(contents(path), QByteArray("old"));
        QCOMPARE(entries(place.path()), QStringList{"hero.pkr"});
    }

    void a_save_through_a_link_replaces_its_file_and_keeps_its_mode()
    {
        QTemporaryDir place;
        const QString real = place.filePath("real.pkr");
        put(real, "old");
        QVERIFY(QFile::setPermissions(real, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
        QVERIFY(QFile::link("real.pkr", place.filePath("link.pkr")));
        QString error;
        QVERIFY2(write_file_safely(place.filePath("link.pkr"), "new", &error), qPrintable(error));
        QCOMPARE(contents(real), QByteArray("new"));
        QVERIFY(QFileInfo(place.filePath("link.pkr")).isSymLink());
        struct stat st;
        QCOMPARE(::stat(QFile::encodeName(real).constData(), &st), 0);
        QCOMPARE(st.st_mode & 0777, mode_t(0600));
        QCOMPARE(entries(place.path()), (QStringList{"link.pkr", "real.pkr"}));
    }
#endif

    void only_regular_files_are_read()
    {
        QTemporaryDir place;
        const QString path = place.filePath("hero.pkr");
        QFile missing;
        QString error;
        QCOMPARE(open_regular_file(missing, path, &error), read_open::failed);
        QVERIFY(!error.isEmpty());
        QFile folder;
        QCOMPARE(open_regular_file(folder, place.path(), &error), read_open::not_a_file);
        QCOMPARE(error, QString("it is a folder, not a file"));
#ifdef Q_OS_UNIX
        // Refused at once: nothing waits for a writer.
        const QString fifo = place.filePath("fifo.pkr");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        QFile pipe;
        QCOMPARE(open_regular_file(pipe, fifo, &error), read_open::not_a_file);
#endif
        put(path, "buttons");
        QFile file;
        QCOMPARE(open_regular_file(file, path, &error), read_open::ok);
        QCOMPARE(file.readAll(), QByteArray("buttons"));
    }
};

QTEST_GUILESS_MAIN(test_safe_file)
#include "test_safe_file.moc"
