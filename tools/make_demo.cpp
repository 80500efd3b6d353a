// Builds the demo scene: draws the two characters' pictures, then runs
// examples/demo/build_demo.mel in the stand-in host with the plug-in's own
// code, the way a TD builds pickers from a script, and saves the scene.
//   make_demo OUTPUT_FOLDER [BUILD_SCRIPT]   (writes demo.ma and images/*.png)
#include "plugin/picker_main.h"

#include <sandbox/host.h>

#include <maya/MObject.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMainWindow>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>

MStatus initializePlugin(MObject obj);
MStatus uninitializePlugin(MObject obj);

namespace {

const int image_width = 320;
const int image_height = 520;

// A simple figure: head, torso, arms and legs in one colour on a dark card.
QImage draw_character(const QColor& body, const QColor& accent)
{
    QImage image(image_width, image_height, QImage::Format_ARGB32);
    image.fill(QColor(34, 38, 46));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(body.darker(140), 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(body);
    p.drawEllipse(QPointF(160, 66), 34, 40);                         // head
    p.drawRoundedRect(QRectF(148, 100, 24, 26), 6, 6);                // neck
    QPainterPath torso;
    torso.moveTo(112, 134);
    torso.lineTo(208, 134);
    torso.cubicTo(214, 200, 200, 240, 196, 284);
    torso.lineTo(124, 284);
    torso.cubicTo(120, 240, 106, 200, 112, 134);
    p.drawPath(torso);
    for (int side : {-1, 1}) {
        auto x = [side](double v) { return 160 + side * (v - 160); };
        QPainterPath arm;
        arm.moveTo(x(204), 138);
        arm.cubicTo(x(236), 160, x(240), 220, x(254), 276);
        arm.lineTo(x(238), 280);
        arm.cubicTo(x(226), 226, x(214), 180, x(196), 160);
        p.drawPath(arm);
        p.drawEllipse(QPointF(x(252), 298), 16, 20);                  // hand
        QPainterPath leg;
        leg.moveTo(x(160), 280);
        leg.lineTo(x(198), 280);
        leg.cubicTo(x(204), 360, x(204), 420, x(204), 468);
        leg.lineTo(x(184), 468);
        leg.cubicTo(x(180), 420, x(170), 360, x(160), 300);
        p.drawPath(leg);
        p.drawRoundedRect(QRectF(qMin(x(178), x(226)), 464, 48, 20), 8, 8); // foot
    }
    p.setPen(Qt::NoPen);
    p.setBrush(accent);
    p.drawRect(QRectF(118, 240, 84, 12));                             // belt
    p.drawEllipse(QPointF(160, 496), 90, 10);                         // ground shadow
    return image;
}

bool fail(const QString& message)
{
    std::fprintf(stderr, "make_demo: %s\n%s\n", qPrintable(message),
                 qPrintable(sandbox::host::instance().output_text()));
    return false;
}

bool build(const QDir& out, const QString& script)
{
    sandbox::host& h = sandbox::host::instance();
    if (!draw_character(QColor(88, 120, 168), QColor(200, 160, 60)).save(out.filePath("images/hero.png")) ||
        !draw_character(QColor(176, 112, 72), QColor(90, 150, 110)).save(out.filePath("images/sidekick.png")))
        return fail("cannot write the pictures");
    QFile file(script);
    if (!file.open(QIODevice::ReadOnly))
        return fail("cannot read " + script);
    QString error;
    if (!h.load_linked_plugin("QuillmarshPicker", "QuillmarshPicker.so", reinterpret_cast<void*>(&initializePlugin),
                              reinterpret_cast<void*>(&uninitializePlugin), &error))
        return fail(error);
    bool ok = h.execute(QString::fromUtf8(file.readAll()));
    ok = ok && h.execute(QString("quillmarshBuildDemo(\"%1\")").arg(out.filePath("images")));
    h.drain_idle();
    if (!ok || h.error_count() > 0)
        return fail("the build script failed");
    if (!h.save_scene(out.filePath("demo.ma"), &error))
        return fail(error);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: make_demo OUTPUT_FOLDER [BUILD_SCRIPT]\n");
        return 2;
    }
    QDir out(QString::fromLocal8Bit(argv[1]));
    if (!out.mkpath("images")) {
        std::fprintf(stderr, "make_demo: cannot write into %s\n", argv[1]);
        return 1;
    }
    const QString script = argc == 3 ? QString::fromLocal8Bit(argv[2]) : QStringLiteral(DEMO_SCRIPT);
    QMainWindow main;
    sandbox::host::instance().set_main_window(&main);
    bool ok = build(out, script);
    sandbox::host::instance().unload_plugin("QuillmarshPicker", nullptr);
    if (!ok)
        return 1;
    std::printf("make_demo: wrote %s\n", qPrintable(out.filePath("demo.ma")));
    return 0;
}
