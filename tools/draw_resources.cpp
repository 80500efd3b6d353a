// Draws the picker's images: the banner logo, the window icon and the four
// arrange icons. Run once and commit the result:
//   draw_resources src/resources/resources
#include <QDir>
#include <QFont>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <cstdio>

namespace {

const QColor teal(38, 166, 154);
const QColor ink(30, 42, 56);

// A quill: a curved vane with a dark shaft, fitted into the given square.
void draw_quill(QPainter& p, const QRectF& box)
{
    p.save();
    p.translate(box.topLeft());
    p.scale(box.width() / 100.0, box.height() / 100.0);
    QPainterPath vane;
    vane.moveTo(22, 88);
    vane.cubicTo(18, 55, 40, 20, 86, 8);
    vane.cubicTo(76, 40, 56, 70, 22, 88);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawPath(vane);
    p.setPen(QPen(ink, 5, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(14, 96), QPointF(70, 26));
    p.restore();
}

void draw_badge(QPainter& p, const QRectF& box)
{
    p.setPen(Qt::NoPen);
    p.setBrush(teal);
    p.drawEllipse(box);
    draw_quill(p, box.adjusted(box.width() * 0.18, box.height() * 0.14, -box.width() * 0.12,
                               -box.height() * 0.16));
}

QImage banner_logo()
{
    // As wide as the name needs: the banner shows the picture whole.
    const QFont font("DejaVu Sans", 15, QFont::Bold);
    const QString name = "Quillmarsh";
    const int width = 48 + int(std::ceil(QFontMetricsF(font).horizontalAdvance(name))) + 4;
    QImage image(width, 46, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    draw_badge(p, QRectF(2, 1, 40, 40));
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRectF(48, 21, width - 48, 22), Qt::AlignLeft | Qt::AlignVCenter, name);
    return image;
}

QImage window_icon()
{
    QImage image(64, 64, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    draw_badge(p, QRectF(2, 2, 60, 60));
    return image;
}

// Three bars lined up on a guide (align) or spread with equal gaps (distribute).
QImage arrange_icon(bool horizontal, bool distribute)
{
    QImage image(24, 24, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    if (!horizontal) {
        p.translate(24, 0);
        p.rotate(90);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(teal);
    if (distribute) {
        p.drawRect(QRectF(2, 5, 4, 14));
        p.drawRect(QRectF(10, 7, 4, 10));
        p.drawRect(QRectF(18, 4, 4, 16));
        p.setPen(QPen(ink, 1.5));
        p.drawLine(QPointF(1, 22), QPointF(23, 22));
    } else {
        p.drawRect(QRectF(3, 4, 5, 16));
        p.drawRect(QRectF(10, 8, 5, 8));
        p.drawRect(QRectF(17, 6, 5, 12));
        p.setPen(QPen(ink, 1.5));
        p.drawLine(QPointF(1, 12), QPointF(23, 12));
    }
    return image;
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: draw_resources FOLDER\n");
        return 2;
    }
    QDir dir(QString::fromLocal8Bit(argv[1]));
    bool ok = banner_logo().save(dir.filePath("PickerWindowLogoCropped.png")) &&
              window_icon().save(dir.filePath("QuillmarshLogo.png")) &&
              arrange_icon(true, false).save(dir.filePath("align-horizontal.png")) &&
              arrange_icon(false, false).save(dir.filePath("align-vertical.png")) &&
              arrange_icon(true, true).save(dir.filePath("distribute-horizontal.png")) &&
              arrange_icon(false, true).save(dir.filePath("distribute-vertical.png"));
    if (!ok) {
        std::fprintf(stderr, "draw_resources: could not write into %s\n", argv[1]);
        return 1;
    }
    return 0;
}
