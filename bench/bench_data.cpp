#include "bench_data.h"

#include <QBuffer>
#include <QColor>
#include <QElapsedTimer>
#include <QFile>
#include <QFont>
#include <QFontMetrics>
#include <QGuiApplication>
#include <QImageWriter>
#include <QPainter>
#include <QRadialGradient>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <cstdio>

#ifndef BENCH_BUILD_TYPE
#define BENCH_BUILD_TYPE ""
#endif

namespace bench {

quint32 random::next()
{
    // splitmix64
    quint64 z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return quint32((z ^ (z >> 31)) >> 16);
}

namespace {

int clamp_byte(int v)
{
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}

QColor muted(random& rng)
{
    return QColor::fromHsv(rng.below(360), rng.between(40, 160), rng.between(70, 220));
}

} // namespace

QImage photo_image(int side, quint64 seed)
{
    random rng(seed);
    QImage image(side, side, QImage::Format_RGB32);

    // Ground: four corner colours blended across the picture, with slow
    // waves of light on top, like a painted backdrop.
    const QColor corner[4] = {muted(rng), muted(rng), muted(rng), muted(rng)};
    const double two_pi = 6.283185307179586;
    QVector<double> wave_x(side), wave_y(side);
    const double fx = 1.5 + rng.below(3), fy = 1.0 + rng.below(3);
    for (int i = 0; i < side; ++i) {
        wave_x[i] = 22 * std::sin(two_pi * fx * i / side + 0.7);
        wave_y[i] = 16 * std::cos(two_pi * fy * i / side + 1.9);
    }
    for (int y = 0; y < side; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const double v = double(y) / (side - 1);
        for (int x = 0; x < side; ++x) {
            const double u = double(x) / (side - 1);
            const double w0 = (1 - u) * (1 - v), w1 = u * (1 - v), w2 = (1 - u) * v, w3 = u * v;
            const double light = wave_x[x] + wave_y[y];
            const int r = int(w0 * corner[0].red() + w1 * corner[1].red() + w2 * corner[2].red() +
                              w3 * corner[3].red() + light);
            const int g = int(w0 * corner[0].green() + w1 * corner[1].green() + w2 * corner[2].green() +
                              w3 * corner[3].green() + light * 0.8);
            const int b = int(w0 * corner[0].blue() + w1 * corner[1].blue() + w2 * corner[2].blue() +
                              w3 * corner[3].blue() + light * 0.6);
            line[x] = qRgb(clamp_byte(r), clamp_byte(g), clamp_byte(b));
        }
    }

    // Soft shapes: the body, limbs and panels of a character sheet, each
    // fading out at its edge.
    {
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        for (int i = 0; i < 48; ++i) {
            const int w = side * rng.between(4, 30) / 100;
            const int h = side * rng.between(4, 30) / 100;
            const QRectF box(rng.below(side) - w / 2, rng.below(side) - h / 2, w, h);
            QColor inner = muted(rng);
            inner.setAlpha(rng.between(120, 230));
            QColor outer = inner;
            outer.setAlpha(0);
            QRadialGradient gradient(box.center(), std::max(w, h) / 2.0);
            gradient.setColorAt(0.0, inner);
            gradient.setColorAt(0.55 + rng.below(35) / 100.0, inner);
            gradient.setColorAt(1.0, outer);
            p.setBrush(gradient);
            if (rng.below(2))
                p.drawEllipse(box);
            else
                p.drawRoundedRect(box, w / 5.0, h / 5.0);
        }
        // A few thin painted outlines.
        for (int i = 0; i < 24; ++i) {
            QColor ink = muted(rng).darker(180);
            ink.setAlpha(150);
            p.setPen(QPen(ink, side / 400.0 + rng.below(3)));
            p.setBrush(Qt::NoBrush);
            const int w = side * rng.between(5, 25) / 100;
            p.drawEllipse(QRectF(rng.below(side), rng.below(side), w, w * rng.between(50, 200) / 100));
        }
    }

    // Grain: the brush and scan noise that keeps a real picture from
    // compressing to nothing.
    for (int y = 0; y < side; ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < side; ++x) {
            const quint32 n = rng.next();
            const int common = int(n & 7) - 3;
            const QRgb c = line[x];
            line[x] = qRgb(clamp_byte(qRed(c) + common + int((n >> 3) & 3) - 1),
                           clamp_byte(qGreen(c) + common + int((n >> 5) & 3) - 1),
                           clamp_byte(qBlue(c) + common + int((n >> 7) & 3) - 1));
        }
    }
    return image;
}

QByteArray png_of(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "PNG");
    writer.write(image);
    return bytes;
}

void describe_picture(const QImage& image, const QByteArray& png)
{
    const double pixels = double(image.width()) * image.height();
    std::printf("picture %dx%d: PNG %.2f MB, %.2f bytes a pixel\n", image.width(), image.height(),
                png.size() / 1048576.0, png.size() / pixels);
}

// ----- Pickers

namespace {

const char* const sides[] = {"L", "R", "C"};
const char* const parts[] = {"arm",   "elbow", "wrist", "hand",  "thumb", "index", "middle", "ring",
                             "pinky", "leg",   "knee",  "ankle", "foot",  "toe",   "clav",   "hip",
                             "eye",   "brow",  "cheek", "lip",   "ear",   "spine", "neck",   "head"};
const char* const suffixes[] = {"ctrl", "IK_ctrl", "FK_ctrl", "pv_ctrl", "offset_ctrl"};
constexpr int side_count = 3, part_count = 24, segment_count = 6, suffix_count = 5;
// Distinct controls one character namespace can hold.
constexpr int controls_per_character = side_count * part_count * segment_count * suffix_count;

struct control {
    int side, part, segment, suffix;
};

control control_of(int k)
{
    k %= controls_per_character;
    control c;
    c.part = k % part_count;
    k /= part_count;
    c.side = k % side_count;
    k /= side_count;
    c.suffix = k % suffix_count;
    c.segment = k / suffix_count + 1;
    return c;
}

QString control_name(const QString& ns, const control& c)
{
    return QString("%1:%2_%3_%4_%5")
        .arg(ns, sides[c.side], parts[c.part])
        .arg(c.segment, 2, 10, QChar('0'))
        .arg(suffixes[c.suffix]);
}

QString control_label(const control& c)
{
    QString label = c.side == 2 ? QString() : QString(sides[c.side]) + '_';
    label += parts[c.part];
    if (c.suffix == 1)
        label += "_IK";
    else if (c.suffix == 2)
        label += "_FK";
    else
        label += QString("_%1").arg(c.segment, 2, 10, QChar('0'));
    return label;
}

quint32 side_color(int side, random& rng)
{
    static const QColor base[] = {QColor(48, 90, 200), QColor(200, 48, 48), QColor(224, 192, 64)};
    const QColor c = base[side];
    return 0xff000000u | qRgb(clamp_byte(c.red() + rng.between(-20, 20)),
                              clamp_byte(c.green() + rng.between(-20, 20)),
                              clamp_byte(c.blue() + rng.between(-20, 20)));
}

QString command_script(const QString& ns, const control& c, int language)
{
    const QString side = sides[c.side];
    const QString part = parts[c.part];
    if (language == 1)
        return QString("import maya.cmds as cmds\n"
                       "for c in cmds.ls('%1:%2_%3_*_ctrl'):\n"
                       "    cmds.setAttr(c + '.ikFkBlend', 1 - cmds.getAttr(c + '.ikFkBlend'))\n")
            .arg(ns, side, part);
    return QString("select -r \"%1:%2_%3_01_IK_ctrl\" \"%1:%2_%3_01_pv_ctrl\";\n"
                   "setKeyframe -breakdown 0 -hierarchy none -controlPoints 0 -shape 0;\n")
        .arg(ns, side, part);
}

} // namespace

QString character(int n)
{
    static const char* const leads[] = {"hero", "villain", "sidekick", "mentor"};
    if (n < 4)
        return leads[n];
    return QString("crowd_%1").arg(n - 3, 2, 10, QChar('0'));
}

QList<buttonAttributes> make_buttons(const picker_shape& shape)
{
    random rng(shape.seed);
    QList<buttonAttributes> list;
    list.reserve(shape.count);
    for (int i = 0; i < shape.count; ++i) {
        const QString ns = character(shape.first_namespace + i / std::max(shape.per_namespace, 1));
        const int local = i % std::max(shape.per_namespace, 1);
        const control c = control_of(local);
        buttonAttributes a;
        a.pos = shape.origin + QPoint((i % shape.columns) * shape.pitch_x + rng.between(-3, 3),
                                      (i / shape.columns) * shape.pitch_y + rng.between(-2, 2));
        a.width = a.size = rng.between(18, 40);
        a.height = rng.between(14, 22);
        a.color = side_color(c.side, rng);
        a.labelColor = c.side == 2 ? 0xff000000u : 0xffffffffu;
        a.label = control_label(c);
        const int pick = rng.below(100);
        if (pick < 4) {
            // A command button: a key or switch script for a limb.
            a.kind = 1;
            a.language = rng.below(2);
            a.color = 0xff000000u | qRgb(90 + rng.below(40), 140 + rng.below(40), 90 + rng.below(40));
            a.labelColor = 0xff000000u;
            a.label = (a.language ? QString("%1 IK/FK") : QString("key %1")).arg(parts[c.part]);
            a.names = QStringList{command_script(ns, c, a.language)};
        } else if (pick < 18) {
            // A group button: every segment of one chain.
            const int n = rng.between(2, 6);
            for (int s = 1; s <= n; ++s) {
                control member = c;
                member.segment = s;
                member.suffix = 0;
                a.names << control_name(ns, member);
            }
            a.label = (c.side == 2 ? QString() : QString(sides[c.side]) + '_') + parts[c.part] + "_all";
        } else {
            a.names << control_name(ns, c);
        }
        // Shapes drawn as pickers always drew them, and, as an animator
        // shapes a rig's sheet, a tenth of the buttons polygons and a tenth
        // ellipses (picked by place, so the other values stay as they were).
        a.shape = legacy_shape(a.kind, a.names.size(), a.label);
        if (i % 10 == 3) {
            const int w = a.width / 2, h = a.height / 2;
            a.shape = qint32(button_shape::polygon);
            a.points = {{-w, 0}, {-w / 2, -h}, {w / 2, -h}, {w, 0}, {w / 2, h}, {-w / 2, h}};
        } else if (i % 10 == 7) {
            a.shape = qint32(button_shape::ellipse);
        }
        // A twentieth set attributes, as a sheet's sliders and switches do:
        // the facial and settings controls of the character.
        if (i % 20 == 11) {
            a.kind = attribute_kind;
            a.language = 0;
            a.widget = (i / 20) % attribute_widget_count;
            const QString node = ns + (c.part % 2 ? ":face_ctrl." : ":settings_ctrl.");
            a.names = QStringList{node + control_label(c).replace(' ', '_') + "_x"};
            if (a.widget == qint32(attribute_widget::slider2d))
                a.names << node + control_label(c).replace(' ', '_') + "_y";
            for (int k = 0; k < 2; ++k) {
                a.minimum[k] = -1;
                a.maximum[k] = 1;
            }
            a.shape = qint32(button_shape::rectangle);
            a.points.clear();
        }
        list.append(a);
    }
    return list;
}

QStringList host_selection(const QList<QList<buttonAttributes>>& pickers, int count, quint64 seed)
{
    QStringList pool;
    QSet<QString> seen;
    for (const QList<buttonAttributes>& picker : pickers)
        for (const buttonAttributes& a : picker)
            if (a.kind == 0)
                for (const QString& name : a.names)
                    if (!seen.contains(name)) {
                        seen.insert(name);
                        pool << name;
                    }
    random rng(seed);
    QStringList names;
    QSet<QString> taken;
    // One in ten is something no button selects: a mesh's vertices, a camera.
    const int foreign = count / 10;
    for (int i = 0; i < foreign; ++i)
        names << (i % 3 == 0 ? QString("persp%1").arg(i)
                             : QString("%1:body_geo.vtx[%2:%3]")
                                   .arg(character(i % 5))
                                   .arg(i * 40)
                                   .arg(i * 40 + 17));
    while (names.size() < count && taken.size() < pool.size()) {
        const QString& name = pool[rng.below(pool.size())];
        if (taken.contains(name))
            continue;
        taken.insert(name);
        names << name;
    }
    // In the order a user clicked them, not grouped by kind.
    for (int i = names.size() - 1; i > 0; --i)
        names.swapItemsAt(i, rng.below(i + 1));
    return names;
}

QPixmap label_picture(const QString& label, quint32 color)
{
    QFont font("Tahoma", -1, -1, false);
    font.setPixelSize(16);
    font.setStyleStrategy(QFont::NoAntialias);
    const QFontMetrics metrics(font);
    const QRect text = metrics.boundingRect(label);
    QSize size(std::min(text.width(), 196), std::min(text.height(), 24));
    size.rwidth() += size.width() % 2 + 2;
    size.rheight() += size.height() % 2;
    QImage image(size, QImage::Format_ARGB32);
    image.fill(0);
    QPainter painter(&image);
    painter.setFont(font);
    painter.setPen(QColor(QRgb(color)));
    painter.drawText(QRect(QPoint(0, 0), size), Qt::AlignCenter, label);
    painter.end();
    return QPixmap::fromImage(std::move(image));
}

// ----- Timing and reports

double median_ms(const std::function<void()>& work, const std::function<void()>& prepare, int runs,
                 double budget_ms)
{
    QElapsedTimer timer;
    auto once = [&] {
        if (prepare)
            prepare();
        timer.start();
        work();
        return double(timer.nsecsElapsed()) / 1e6;
    };
    const double warm = once();
    if (warm > 0 && warm * runs > budget_ms)
        runs = std::max(3, int(budget_ms / warm));
    QVector<double> times;
    for (int i = 0; i < runs; ++i)
        times << once();
    std::sort(times.begin(), times.end());
    const int n = times.size();
    return n % 2 ? times[n / 2] : (times[n / 2 - 1] + times[n / 2]) / 2;
}

paired paired_ms(const std::function<void()>& work, const std::function<void()>& floor,
                 const std::function<void()>& prepare, int runs, double budget_ms)
{
    QElapsedTimer timer;
    auto once = [&timer](const std::function<void()>& f, const std::function<void()>& before) {
        if (before)
            before();
        timer.start();
        f();
        return double(timer.nsecsElapsed()) / 1e6;
    };
    // Blocks of each in turn: a burst of load elsewhere on the machine meets
    // only some of either side's runs, and as every block starts with an
    // untimed run, neither side meets the caches and heap the other left.
    int rounds = 3;
    int per_block = std::max(1, runs / rounds);
    const double pair = once(work, prepare) + once(floor, {});
    if (pair * rounds * (per_block + 1) > budget_ms) {
        rounds = 1;
        per_block = std::max(3, int(budget_ms / std::max(pair, 1e-3)) - 1);
    }
    QVector<double> w, f;
    for (int r = 0; r < rounds; ++r) {
        for (int i = 0; i <= per_block; ++i) {
            const double t = once(work, prepare);
            if (i > 0)
                w << t;
        }
        for (int i = 0; i <= per_block; ++i) {
            const double t = once(floor, {});
            if (i > 0)
                f << t;
        }
    }
    auto median = [](QVector<double>& v) {
        std::sort(v.begin(), v.end());
        const int n = v.size();
        return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
    };
    paired result;
    result.measured_ms = median(w);
    result.floor_ms = median(f);
    return result;
}

bool report(const QString& what, double measured_ms, double floor_ms, double goal)
{
    auto ms = [](double v) {
        return v >= 100 ? QString::number(v, 'f', 0) : v >= 10 ? QString::number(v, 'f', 1)
             : v >= 1  ? QString::number(v, 'f', 2)
                       : QString::number(v, 'f', 3);
    };
    const double ratio = floor_ms > 0 ? measured_ms / floor_ms : 0;
    std::printf("%s: %s ms, floor %s ms, ratio %.2f (goal %g)\n", qPrintable(what),
                qPrintable(ms(measured_ms)), qPrintable(ms(floor_ms)), ratio, goal);
    std::fflush(stdout);
    return ratio <= goal;
}

bool report(const QString& what, const paired& times, double goal)
{
    return report(what, times.measured_ms, times.floor_ms, goal);
}

void banner(const char* name)
{
    std::printf("%s (%s build, %s platform): times are medians of several runs after a warm-up\n",
                name, *BENCH_BUILD_TYPE ? BENCH_BUILD_TYPE : "default",
                qPrintable(QGuiApplication::platformName()));
    std::fflush(stdout);
}

void print_memory(const char* when)
{
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        return;
    QString now, peak;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            now = QString::fromLatin1(line.mid(6)).simplified();
        else if (line.startsWith("VmHWM:"))
            peak = QString::fromLatin1(line.mid(6)).simplified();
    }
    std::printf("memory %s: resident %s, peak %s\n", when, qPrintable(now), qPrintable(peak));
}

std::unique_ptr<QTemporaryDir> private_settings()
{
    auto dir = std::make_unique<QTemporaryDir>();
    if (dir->isValid()) {
        qputenv("XDG_CONFIG_HOME", dir->path().toLocal8Bit());
        if (!qEnvironmentVariableIsSet("XDG_RUNTIME_DIR"))
            qputenv("XDG_RUNTIME_DIR", dir->path().toLocal8Bit());
    }
    return dir;
}

void keeping_host::run_mel_on_idle(const QString& text)
{
    ++idle;
    if (text.endsWith(QLatin1String(" flush")))
        ++flush_requests;
}

void keeping_host::run_python_on_idle(const QString&)
{
    ++idle;
}

bool keeping_host::run_mel_now(const QString& text)
{
    last = text;
    ++writes;
    written += text.size();
    return true;
}

void keeping_host::clear()
{
    last.clear();
    writes = 0;
    written = 0;
    idle = 0;
    flush_requests = 0;
}

namespace {
volatile qint64 sink = 0;
}

void keep(qint64 value)
{
    sink = sink + value;
}

qint64 kept()
{
    return sink;
}

} // namespace bench
