// What the benchmarks measure on: pictures that compress like a painted
// character sheet, pickers named and labelled like a rig's, and the timing
// and reporting every benchmark shares. Everything is made from fixed seeds,
// so two runs measure the same bytes.
#pragma once

#include "model/button_model.h"
#include "model/picker_host.h"

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QPixmap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>

namespace bench {

// A small, fast generator whose sequence is the same on every platform
// (std distributions are not).
class random {
public:
    explicit random(quint64 seed) : state(seed * 0x9E3779B97F4A7C15ull + 1) {}
    quint32 next();
    // 0 .. n-1
    int below(int n) { return int(next() % quint32(n)); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }

private:
    quint64 state;
};

// A square picture with smooth gradients, soft shapes and per-pixel noise.
QImage photo_image(int side, quint64 seed);
// The PNG bytes Qt writes for the picture (what a stream of it holds).
QByteArray png_of(const QImage& image);
// Prints the picture's PNG size, so a run shows the data is not trivial.
void describe_picture(const QImage& image, const QByteArray& png);

// The buttons of one picker: `count` labelled buttons on a grid starting at
// `origin`, `columns` wide, one character namespace per `per_namespace`
// buttons starting with `first_namespace`. Most select one control, some
// several, some run a MEL or Python script.
struct picker_shape {
    int count = 50;
    int columns = 10;
    QPoint origin = QPoint(60, 40);
    int pitch_x = 84;
    int pitch_y = 26;
    int per_namespace = 2000;
    int first_namespace = 0;
    quint64 seed = 1;
};
QList<buttonAttributes> make_buttons(const picker_shape& shape);
// The namespace the n-th character of a scene lives in ("hero", "crowd_03").
QString character(int n);

// `count` names a host selection could hold: most are names the buttons use,
// the rest are nodes and components no button has.
QStringList host_selection(const QList<QList<buttonAttributes>>& pickers, int count, quint64 seed);

// A label picture as a view makes it: the text in the label font on a
// transparent ground, sized to the text.
QPixmap label_picture(const QString& label, quint32 color);

// Median milliseconds of `work`, after one warm-up run. `prepare` runs
// untimed before each run. Slow work gets fewer runs (at least three) so a
// case stays within about `budget_ms`.
double median_ms(const std::function<void()>& work, const std::function<void()>& prepare = {},
                 int runs = 9, double budget_ms = 2500);

// Medians of `work` and of its `floor`, measured in alternating blocks after
// a warm-up of each. `prepare` runs untimed before each run of `work`; slow
// work gets fewer runs (at least three).
struct paired {
    double measured_ms = 0;
    double floor_ms = 0;
};
paired paired_ms(const std::function<void()>& work, const std::function<void()>& floor,
                 const std::function<void()>& prepare = {}, int runs = 9, double budget_ms = 5000);

// One result line: "<what>: 3.10 ms, floor 2.00 ms, ratio 1.55 (goal 2)".
// Returns whether the ratio is within the goal.
bool report(const QString& what, double measured_ms, double floor_ms, double goal);
bool report(const QString& what, const paired& times, double goal);
// The first line of every benchmark: its name, the build type, the platform.
void banner(const char* name);
// Prints the process's resident memory now and at its peak (Linux only).
void print_memory(const char* when);
// Puts the settings of the run in a folder of their own, before the
// application exists, so a benchmark never touches the user's.
std::unique_ptr<QTemporaryDir> private_settings();

// A host that keeps the last text it is given to run now, counts the rest
// and runs nothing.
class keeping_host : public picker_host {
public:
    void run_mel_on_idle(const QString& text) override;
    void run_python_on_idle(const QString& text) override;
    bool run_mel_now(const QString& text) override;

    QString last;          // the last text given to run_mel_now
    int writes = 0;        // texts given to run_mel_now
    qint64 written = 0;    // their characters
    int idle = 0;          // texts queued for idle time
    int flush_requests = 0;
    void clear();
};

// Keeps the optimiser from dropping work whose result nobody reads.
void keep(qint64 value);
qint64 kept();

} // namespace bench
