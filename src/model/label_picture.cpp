#include "model/label_picture.h"

#include <QColor>
#include <QImage>
#include <QPainter>

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

label_picture label_picture::from(const weak_handle& handle)
{
    label_picture picture;
    picture.art_ = handle.lock();
    return picture;
}
