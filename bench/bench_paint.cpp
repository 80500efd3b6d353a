// Paints a view of 10,000 labelled buttons offscreen and reports the time per
// frame beside the time to paint the same rectangles and label pixmaps with
// bare QPainter calls, so the view's own overhead shows.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_paint [frames]
#include "view/picker_view.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QPainter>
#include <QPaintEvent>

#include <cstdio>

namespace {

const int columns = 100;
const int rows = 100;

void fill(picker_view& view)
{
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            buttonAttributes a;
            a.pos = QPoint(20 + c * 40, 20 + r * 30);
            a.size = a.width = 30;
            a.height = 20;
            a.kind = (r * columns + c) % 10 == 0 ? 1 : 0;
            a.language = 0;
            a.color = 0xff000000u | quint32((c * 2) << 16 | (r * 2) << 8 | 160);
            a.labelColor = 0xffffff;
            a.label = QString("c%1").arg(r * columns + c);
            a.names = QStringList{QString("ns:ctrl_%1").arg(r * columns + c)};
            if (c % 3 == 0)
                a.names << QString("ns:extra_%1").arg(c);
            view.push_button(a, -1);
        }
    }
    for (int i = 0; i < view.buttons.size(); i += 7)
        view.buttons[i].selected = qint16(1 + i % 2);
}

// The view painting into an image through its own paint event.
double time_view(picker_view& view, QImage& target, const QRect& exposed, int frames)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < frames; ++i)
        view.render(&target, exposed.topLeft(), QRegion(exposed));
    return double(timer.nsecsElapsed()) / 1e6 / frames;
}

// The same shapes and pixmaps drawn with nothing but QPainter calls.
double time_bare(picker_view& view, QImage& target, const QRect& exposed, int frames)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < frames; ++i) {
        QPainter p(&target);
        p.setRenderHint(QPainter::Antialiasing);
        p.setClipRect(exposed);
        p.fillRect(exposed, QColor(51, 51, 51));
        p.setPen(Qt::NoPen);
        for (const buttonRecord& r : view.buttons) {
            QRect box = view.mapToScreen(r.bounds);
            if (!box.intersects(exposed))
                continue;
            p.fillRect(box, QColor(QRgb(r.color)));
            if (!r.labelPixmap.isNull()) {
                QRect label(QPoint(0, 0), r.labelPixmap.size() * view.zoom);
                label.moveCenter(box.center());
                p.drawPixmap(label, r.labelPixmap);
            }
        }
    }
    return double(timer.nsecsElapsed()) / 1e6 / frames;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    int frames = argc > 1 ? QString(argv[1]).toInt() : 20;
    if (frames < 1)
        frames = 20;

    picker_view view(nullptr);
    view.resize(1600, 1000);
    view.show();
    QElapsedTimer build;
    build.start();
    fill(view);
    std::printf("built %d labelled buttons in %.1f ms\n", int(view.buttons.size()),
                double(build.nsecsElapsed()) / 1e6);

    QImage target(view.size(), QImage::Format_ARGB32_Premultiplied);
    struct scene {
        const char* name;
        double zoom;
        QRect exposed;
    } scenes[] = {
        {"all 10,000 visible, full frame", 0.35, QRect(0, 0, 1600, 1000)},
        {"zoom 1, full frame", 1.0, QRect(0, 0, 1600, 1000)},
        {"zoom 1, 200x200 exposed", 1.0, QRect(300, 300, 200, 200)},
        {"zoom 4, full frame", 4.0, QRect(0, 0, 1600, 1000)},
    };
    std::printf("%-34s %12s %12s\n", "case", "view ms", "bare ms");
    for (const scene& s : scenes) {
        view.zoom = s.zoom;
        view.shift = QPoint(0, 0);
        time_view(view, target, s.exposed, 1); // warm caches
        double v = time_view(view, target, s.exposed, frames);
        double b = time_bare(view, target, s.exposed, frames);
        std::printf("%-34s %12.2f %12.2f\n", s.name, v, b);
    }
    return 0;
}
