// A private X server with a window manager, for tests of what a person sees
// through the window system: Xvfb on a display it picks itself, openbox on
// it, and xdotool for real pointer and keyboard input. Started before the
// QApplication (which connects to it), stopped when the test ends, and never
// outliving the test: both die with it.
#pragma once

#include <QByteArray>
#include <QCursor>
#include <QPoint>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

class x_session {
public:
    x_session() = default;
    x_session(const x_session&) = delete;
    x_session& operator=(const x_session&) = delete;
    ~x_session() { stop(); }

    // Starts the server and the window manager and points DISPLAY at them.
    // Empty on success, else what went wrong.
    QString start(const QString& screen = "2560x1200x24")
    {
        int server_out[2];
        if (pipe(server_out) != 0)
            return "cannot make a pipe";
        // Xvfb writes the display it chose to this descriptor once it
        // accepts connections.
        const std::string fd = std::to_string(server_out[1]);
        server_ = spawn({"Xvfb", "-displayfd", fd, "-screen", "0", screen.toStdString(), "-nolisten", "tcp"},
                        server_out[1], -1);
        close(server_out[1]);
        QByteArray number;
        const bool read = read_line(server_out[0], &number, 30);
        close(server_out[0]);
        if (server_ < 0 || !read || number.isEmpty())
            return "Xvfb did not start (tools/setup.sh installs the xvfb package)";
        display_ = ":" + QString::fromLatin1(number.trimmed());
        setenv("DISPLAY", display_.toLatin1().constData(), 1);

        int wm_out[2];
        if (pipe(wm_out) != 0)
            return "cannot make a pipe";
        // The startup command runs once openbox manages the screen.
        wm_ = spawn({"openbox", "--sm-disable", "--startup", "echo openbox-ready"}, -1, wm_out[1]);
        close(wm_out[1]);
        bool ready = false;
        QByteArray line;
        while (!ready && read_line(wm_out[0], &line, 30))
            ready = line.trimmed() == "openbox-ready";
        close(wm_out[0]);
        if (wm_ < 0 || !ready)
            return "openbox did not start on " + display_ + " (tools/setup.sh installs the openbox package)";
        return QString();
    }

    void stop()
    {
        end(wm_);
        end(server_);
    }

    QString display() const { return display_; }

private:
    // Starts a program with stdin from /dev/null, stdout to `out` (or
    // /dev/null) and stderr to /dev/null, keeping `keep` open in it.
    static pid_t spawn(const std::vector<std::string>& args, int keep, int out)
    {
        std::vector<char*> argv;
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        const pid_t parent = getpid();
        const pid_t pid = fork();
        if (pid != 0)
            return pid;
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
            _exit(127);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, 0);
        dup2(out >= 0 ? out : null, 1);
        dup2(null, 2);
        for (int fd = 3; fd < 1024; ++fd)
            if (fd != keep)
                close(fd);
        execvp(argv[0], argv.data());
        _exit(127);
    }

    // One line from fd within `seconds`; false at end of file or timeout.
    static bool read_line(int fd, QByteArray* line, int seconds)
    {
        line->clear();
        const time_t until = time(nullptr) + seconds;
        while (time(nullptr) < until) {
            pollfd p{fd, POLLIN, 0};
            const int n = poll(&p, 1, 200);
            if (n < 0 && errno != EINTR)
                return false;
            if (n <= 0)
                continue;
            char c;
            if (read(fd, &c, 1) != 1)
                return false;
            if (c == '\n')
                return true;
            line->append(c);
        }
        return false;
    }

    static void end(pid_t& pid)
    {
        if (pid <= 0)
            return;
        kill(pid, SIGTERM);
        for (int i = 0; i < 50; ++i) {
            if (waitpid(pid, nullptr, WNOHANG) == pid) {
                pid = -1;
                return;
            }
            usleep(100 * 1000);
        }
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        pid = -1;
    }

    pid_t server_ = -1;
    pid_t wm_ = -1;
    QString display_;
};

// Real input through the X server, as a person gives it: xdotool moves the
// pointer, clicks and types. Each call waits for xdotool, not for the
// application; the test then waits for the effect it expects.
namespace xdo {

inline bool run(const QStringList& args)
{
    QProcess p;
    p.start("xdotool", args);
    return p.waitForFinished(20000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

inline bool move_to(const QPoint& global)
{
    // --sync waits for the pointer to move, which it would not do if it is
    // there already.
    if (QCursor::pos() == global)
        return true;
    return run({"mousemove", "--sync", QString::number(global.x()), QString::number(global.y())});
}

inline bool click_at(const QPoint& global, int button = 1)
{
    return move_to(global) && run({"click", QString::number(button)});
}

inline bool double_click_at(const QPoint& global)
{
    return move_to(global) && run({"click", "--repeat", "2", "--delay", "60", "1"});
}

// Presses a button at `from`, drags to `to` in steps, and releases.
inline bool drag(const QPoint& from, const QPoint& to)
{
    if (!move_to(from) || !run({"mousedown", "1"}))
        return false;
    bool ok = true;
    for (int i = 1; i <= 8 && ok; ++i)
        ok = move_to(from + (to - from) * i / 8);
    return run({"mouseup", "1"}) && ok;
}

// Key chords in xdotool's names: "h", "BackSpace", "ctrl+shift+z".
inline bool key(const QString& chord)
{
    return run({"key", "--delay", "40", chord});
}

inline bool type(const QString& text)
{
    return run({"type", "--delay", "40", text});
}

} // namespace xdo
