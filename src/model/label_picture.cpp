#include "model/label_picture.h"

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

struct label_art {
    QString text;
    QFont font;
    quint32 color = 0;
    QSize size;
    QPixmap pixmap;
    bool rendered = false;
};

label_picture::label_picture(const QString& text, const QFont& font, quint32 color, const QSize& size)
{
    if (size.isEmpty())
        return;
    art_ = std::make_shared<label_art>();
    art_->text = text;
    art_->font = font;
    art_->color = color;
    art_->size = size;
}

QSize label_picture::size() const
{
    return art_ ? art_->size : QSize();
}

quint32 label_picture::color() const
{
    return art_ ? art_->color : 0;
}

const QString& label_picture::text() const
{
    static const QString none;
    return art_ ? art_->text : none;
}

bool label_picture::isRendered() const
{
    return art_ && art_->rendered;
}

const QPixmap& label_picture::pixmap() const
{
    static const QPixmap none;
    if (!art_)
        return none;
    if (!art_->rendered) {
        art_->rendered = true;
        QImage image(art_->size, QImage::Format_ARGB32);
        image.fill(0);
        QPainter painter;
        // A painter that cannot begin leaves the picture transparent.
        if (painter.begin(&image)) {
            painter.setFont(art_->font);
            painter.setBrush(Qt::black);
            painter.setPen(QColor(QRgb(art_->color)));
            painter.drawText(QRect(QPoint(0, 0), art_->size), Qt::AlignCenter, art_->text);
            painter.end();
        }
        art_->pixmap = QPixmap::fromImage(std::move(image));
    }
    return art_->pixmap;
}

void label_picture::draw(QPainter& painter, const QRectF& target) const
{
    if (!art_)
        return;
    const QSizeF size(art_->size);
    // In device pixels: a high-density screen enlarges the picture too.
    const QTransform& device = painter.deviceTransform();
    const qreal density = std::max(std::hypot(device.m11(), device.m12()), std::hypot(device.m21(), device.m22()));
    if (target.width() * density <= size.width() && target.height() * density <= size.height()) {
        painter.drawPixmap(target, pixmap(), QRectF(QPointF(0, 0), size));
        return;
    }
    // Enlarging the picture would enlarge its pixels: the text is laid out
    // as in the picture and drawn through the scale instead, smoothed.
    painter.save();
    painter.translate(target.topLeft());
    painter.scale(target.width() / size.width(), target.height() / size.height());
    QFont font = art_->font;
    font.setStyleStrategy(QFont::PreferAntialias);
    painter.setFont(font);
    painter.setPen(QColor(QRgb(art_->color)));
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.drawText(QRectF(QPointF(0, 0), size), Qt::AlignCenter, art_->text);
    painter.restore();
}

label_picture label_picture::from(const weak_handle& handle)
{
    label_picture picture;
    picture.art_ = handle.lock();
    return picture;
}
