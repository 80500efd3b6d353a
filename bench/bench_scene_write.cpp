// Times the scene write that follows every edit: the whole window streamed,
// compressed and encoded, for a picker of 10,000 buttons over a large
// background, beside the time of its parts.
//   QT_QPA_PLATFORM=offscreen build/bench/bench_scene_write [runs]
#include "model/scene_data.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPainter>

#include <cstdio>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const int runs = argc > 1 ? qMax(1, QString(argv[1]).toInt()) : 5;
    picker_window window(nullptr);
    picker_view* view = window.frontPicker();
    QImage picture(1024, 1024, QImage::Format_RGB32);
    QPainter p(&picture);
    for (int i = 0; i < 64; ++i)
        p.fillRect(i * 16, 0, 16, 1024, QColor::fromHsv(i * 5, 120, 200));
    p.end();
    QPixmap background = QPixmap::fromImage(picture);
    view->setBackground(QString::number(background.cacheKey()), background);
    for (int i = 0; i < 10000; ++i) {
        buttonAttributes a;
        a.pos = QPoint(i % 100 * 10, i / 100 * 10);
        a.size = a.width = a.height = 8;
        a.color = 0xff0000;
        a.labelColor = 0xffffff;
        a.label = QString("b%1").arg(i);
        a.names = QStringList{QString("hero:ctrl_%1").arg(i)};
        view->push_button(a, -1);
    }

    QElapsedTimer timer;
    double stream = 0, encode = 0;
    QByteArray bytes;
    for (int r = 0; r < runs; ++r) {
        bytes.clear();
        timer.start();
        {
            QDataStream out(&bytes, QIODevice::WriteOnly);
            window.streamTo(out);
        }
        stream += timer.nsecsElapsed() / 1e6;
        timer.start();
        QByteArray text = encode_picker_data(bytes);
        encode += timer.nsecsElapsed() / 1e6;
    }
    std::printf("window stream: %d bytes, %.1f ms to write, %.1f ms to compress and encode (per write)\n",
                int(bytes.size()), stream / runs, encode / runs);
    return 0;
}
