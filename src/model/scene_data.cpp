#include "model/scene_data.h"

#include <QBuffer>
#include <QDataStream>

QByteArray encode_picker_data(const QByteArray& stream)
{
    return qCompress(stream, 9).toBase64();
}

QByteArray decode_picker_data(const QByteArray& text)
{
    QByteArray compressed = QByteArray::fromBase64(text);
    if (compressed.size() < 4)
        return QByteArray();
    return qUncompress(compressed);
}

QByteArray encode_image(const QPixmap& pixmap)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << pixmap;
    return bytes.toBase64();
}

QPixmap decode_image(const QByteArray& text)
{
    QByteArray bytes = QByteArray::fromBase64(text);
    QPixmap pixmap;
    if (bytes.isEmpty())
        return pixmap;
    // Plain PNG bytes load directly; what encode_image wrote carries the
    // pixmap stream's marker in front of the PNG.
    if (pixmap.loadFromData(bytes, "PNG"))
        return pixmap;
    QDataStream in(bytes);
    in >> pixmap;
    return in.status() == QDataStream::Ok ? pixmap : QPixmap();
}
