// Painting 10,000 labelled buttons over a photo of the character through the
// view's own paint path, frame after frame, beside a bare loop that draws the
// same picture and shapes with QPainter into an image of the same size: the
// antialiased rounded rectangles and ellipses, the gradient command buttons
// with their outline, the label pictures at their sizes. A view that keeps
// what did not change between frames paints in a fraction of the bare loop's
// time. A whole frame is the view rendered into an image (as when a window is
// shown); the frame after a selection change is what Qt repaints of the
// window when the view has marked what changed. Zoomed in, the view draws its
// labels' text at the zoomed size where the bare loop only enlarges their
// pictures: that case shows what sharp labels cost.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_paint
#include "bench_data.h"

#include "model/name_list.h"
#include "model/picker_page.h"
#include "view/picker_view.h"

#include <QApplication>
#include <QBackingStore>
#include <QEvent>
#include <QImage>
#include <QLinearGradient>
#include <QLocale>
#include <QPainter>

#include <cstdio>

namespace {

constexpr double goal = 0.25;
const QSize frame(1600, 1000);

// The shapes of every button meeting the frame, drawn the plain way.
struct bare_loop {
    const picker_view& view;
    QVector<QPixmap> labels; // the label picture of each button, made once

    void draw(QImage& target) const
    {
        QPainter p(&target);
        p.setRenderHint(QPainter::Antialiasing);
        const QRect exposed(QPoint(0, 0), target.size());
        p.fillRect(exposed, QColor(51, 51, 51));
        p.drawImage(view.mapToScreen(view.background().rect()), view.background().image());
        p.setPen(Qt::NoPen);
        const QPen outline(QBrush(Qt::black), 0.5, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
        for (int i = 0; i < view.buttons().size(); ++i) {
            const buttonRecord& r = view.buttons()[i];
            const QRectF box(view.mapToScreen(r.bounds));
            if (!box.intersects(exposed))
                continue;
            const QColor color = r.selected == 1 ? QColor(224, 224, 224)
                               : r.selected    ? QColor(128, 128, 128)
                                               : QColor(QRgb(r.color));
            const qreal side = std::min(box.width(), box.height());
            if (r.kind) {
                QLinearGradient gradient(box.topLeft(), box.bottomLeft());
                gradient.setColorAt(0.0, color.lighter(150));
                gradient.setColorAt(0.1, color);
                gradient.setColorAt(0.9, color);
                gradient.setColorAt(1.0, color.darker(150));
                p.setBrush(gradient);
                p.drawRoundedRect(box, 0.05 * side, 0.05 * side, Qt::AbsoluteSize);
                p.setPen(outline);
                p.setBrush(Qt::NoBrush);
                p.drawRoundedRect(box.adjusted(0.25, 0.25, -0.25, -0.25), 0.05 * side, 0.05 * side,
                                  Qt::AbsoluteSize);
                p.setPen(Qt::NoPen);
            } else if (r.names.size() < 2) {
                p.fillRect(box, color);
            } else {
                p.setBrush(color);
                if (labels[i].isNull())
                    p.drawEllipse(box);
                else
                    p.drawRoundedRect(box, 0.2 * side, 0.2 * side, Qt::AbsoluteSize);
            }
            const QPixmap& label = labels[i];
            if (!label.isNull()) {
                QRect at(0, 0, int(view.zoom * label.width() + 0.5), int(view.zoom * label.height() + 0.5));
                at.moveCenter(box.center().toPoint());
                p.drawPixmap(QRectF(at), label, QRectF(label.rect()));
            }
        }
    }
};

int visible(const picker_view& view)
{
    int n = 0;
    const QRect exposed(QPoint(0, 0), frame);
    for (const buttonRecord& r : view.buttons())
        n += view.mapToScreen(r.bounds).intersects(exposed);
    return n;
}

// The share of the frame (every fourth pixel looked at) not left canvas grey.
double painted_share(const QImage& image)
{
    const QRgb canvas = qRgb(51, 51, 51);
    qint64 painted = 0, seen = 0;
    for (int y = 0; y < image.height(); y += 4) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); x += 4, ++seen)
            painted += (line[x] | 0xff000000u) != canvas;
    }
    return seen ? double(painted) / seen : 0;
}

} // namespace

int main(int argc, char** argv)
{
    auto settings = bench::private_settings();
    QApplication app(argc, argv);
    bench::banner("bench_paint");
    bench::keeping_host host;
    picker_host::install(&host);

    picker_view view(nullptr);
    view.resize(frame);
    view.show();
    QCoreApplication::processEvents(); // the window is shown and can be repainted
    bench::picker_shape shape;
    shape.count = 10000;
    shape.columns = 75;
    shape.seed = 71;
    const QList<buttonAttributes> buttons = bench::make_buttons(shape);
    for (const buttonAttributes& a : buttons)
        view.push_button(a, -1);
    // The character's picture under the first buttons, as a picker has it.
    const png_picture photo = png_picture::from_image(bench::photo_image(2048, 17));
    view.setBackground(QString::number(photo.key()), photo);

    bare_loop bare{view, {}};
    for (const buttonAttributes& a : buttons)
        bare.labels << (a.label.isEmpty() ? QPixmap() : bench::label_picture(a.label, a.labelColor));

    // Two selections of about one button in ten, shown in turn.
    QStringList selections[2];
    for (int s = 0; s < 2; ++s) {
        bench::random rng(81 + s);
        for (const buttonAttributes& a : buttons)
            if (a.kind == 0 && rng.below(10) == 0)
                selections[s].append(a.names[rng.below(a.names.size())]);
    }
    name_list::picker().assign(selections[0]);
    view.conform_to_selection();

    QImage target(frame, QImage::Format_ARGB32_Premultiplied);
    QImage bare_target(frame, QImage::Format_ARGB32_Premultiplied);
    auto paint = [&] { view.render(&target); };

    picker_view fresh(nullptr);
    fresh.resize(frame);
    fresh.show();
    for (const buttonAttributes& a : buttons)
        fresh.push_button(a, -1);
    fresh.setBackground(QString::number(photo.key()), photo);

    // Zoomed out far enough to show every button, then at zoom 1.
    const QRect all = view.button_bounds(false);
    const double fit = std::max(0.25, std::min(double(frame.width()) / (all.right() + 20),
                                               double(frame.height()) / (all.bottom() + 20)));
    struct zoom_case {
        double zoom;
        const char* what;
    } zooms[] = {{1.0, "zoom 1"}, {fit, "all visible"}, {4.0, "zoom 4"}};
    for (const zoom_case& z : zooms) {
        view.setZoom(float(z.zoom), QPoint(0, 0));
        view.setShift(QPoint(0, 0));
        const QString what = QString("paint, 10,000 labelled buttons, %1 (%2 in a %3x%4 view)")
                                 .arg(z.what)
                                 .arg(QLocale(QLocale::English).toString(visible(view)))
                                 .arg(frame.width())
                                 .arg(frame.height());
        const auto floor = [&] { bare.draw(bare_target); };
        bench::report(what + ", nothing changing", bench::paired_ms(paint, floor), goal);
        // The frame after a selection change; the change itself is bench_sync's.
        int turn = 0;
        const auto repaint = [&] { QCoreApplication::sendPostedEvents(&view, QEvent::UpdateRequest); };
        const bench::paired changing = bench::paired_ms(repaint, floor, [&] {
            // As the window follows a host selection.
            name_list::picker().assign(selections[++turn % 2]);
            if (view.conform_to_selection())
                view.refresh();
        });
        bench::report(what + ", selection changing", changing, goal);
        // The window must show the last selection, and so must a whole frame:
        // a view just made with it paints the same pixels.
        fresh.conform_to_selection();
        fresh.setZoom(float(z.zoom), QPoint(0, 0));
        fresh.setShift(QPoint(0, 0));
        QPaintDevice* window = view.backingStore()->paintDevice();
        const QImage in_window = window->devType() == QInternal::Image ? *static_cast<QImage*>(window) : QImage();
        QImage fresh_frame(frame, in_window.isNull() ? target.format() : in_window.format());
        fresh.render(&fresh_frame);
        if (in_window != fresh_frame)
            std::printf("%s: the window after the selection changed differs from a fresh view's: "
                        "the figures above do not compare\n",
                        qPrintable(what));
        paint();
        fresh_frame = QImage(frame, target.format());
        fresh.render(&fresh_frame);
        if (fresh_frame != target)
            std::printf("%s: the frame after the selection changed differs from a fresh view's: "
                        "the figures above do not compare\n",
                        qPrintable(what));
        // Both must have drawn the buttons, or the ratio compares nothing.
        const double shown = painted_share(target), drawn = painted_share(bare_target);
        if (shown < drawn * 0.8)
            std::printf("%s: the view covered %.0f%% of the frame, the bare loop %.0f%%: "
                        "the figures above do not compare\n",
                        qPrintable(what), shown * 100, drawn * 100);
    }
    // Pictures on every button, a few icons shared by all: each face is
    // scaled once per zoom, where the bare loop scales every picture it draws.
    png_picture icons[3];
    for (int i = 0; i < 3; ++i) {
        QImage icon(64, 64, QImage::Format_ARGB32);
        icon.fill(Qt::transparent);
        QPainter p(&icon);
        p.setRenderHint(QPainter::Antialiasing);
        p.setBrush(QColor::fromHsv(120 * i, 200, 230));
        p.drawEllipse(QRectF(4, 4, 56, 56));
        p.end();
        icons[i] = png_picture::from_image(icon);
    }
    {
        picker_page::hold hold(view.page());
        for (int row = 0; row < view.buttons().size(); ++row)
            view.page()->set_picture(row, icons[row % 3]);
    }
    const auto pictured_floor = [&] {
        bare.draw(bare_target);
        QPainter p(&bare_target);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        const QRect exposed(QPoint(0, 0), frame);
        for (int i = 0; i < view.buttons().size(); ++i) {
            const QRect box = view.mapToScreen(view.buttons()[i].bounds);
            if (!box.intersects(exposed))
                continue;
            const QImage icon = view.buttons()[i].picture.image();
            const QSizeF fitted = QSizeF(icon.size()).scaled(QSizeF(box.size()), Qt::KeepAspectRatio);
            p.drawImage(QRectF(QPointF(box.center()) - QPointF(fitted.width(), fitted.height()) / 2, fitted), icon);
        }
    };
    double zoom = 1.0;
    const auto zoom_step = [&] {
        zoom = zoom == 1.0 ? 1.25 : 1.0;
        view.setZoom(float(zoom), QPoint(0, 0));
        view.setShift(QPoint(0, 0));
    };
    zoom_step();
    bench::report(QString("paint, 10,000 buttons with pictures (3 icons), zoom 1.25, nothing changing"),
                  bench::paired_ms(paint, pictured_floor), goal);
    // A whole frame copies a face per button where the bare loop draws
    // straight onto the frame: about even is the goal.
    bench::report(QString("paint, 10,000 buttons with pictures (3 icons), a whole frame after a zoom step"),
                  bench::paired_ms(paint, pictured_floor, zoom_step), 1.5);
    bench::print_memory("with 10,000 buttons painted");
    picker_host::install(nullptr);
    return 0;
}
