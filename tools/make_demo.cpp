// Builds the demo scene: draws the two characters' pictures, then runs
// examples/demo/build_demo.mel in the stand-in host with the plug-in's own
// code, the way a TD builds pickers from a script, and saves the scene.
//   make_demo [--view ZOOM,X,Y] [--pickers] OUTPUT_FOLDER [BUILD_SCRIPT]
// writes demo.ma and images/*.png. --view gives every tab that zoom and pan
// as it is made, as a user looking at it would; the script must build the
// same pickers anyway. --pickers also saves each tab as <tab>.pkr.
#include "plugin/picker_main.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <sandbox/host.h>

#include <maya/MObject.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMainWindow>
#include <QPainter>
#include <QPainterPath>
#include <QTabWidget>

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
    // Qt 5 and Qt 6 default to different densities; the files must not differ.
    image.setDotsPerMeterX(3937);
    image.setDotsPerMeterY(3937);
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

// The face the facial picker lies over: a head filling the card, eyes,
// brows and a mouth where the picker's widgets go.
QImage draw_face(const QColor& skin, const QColor& accent)
{
    QImage image(320, 320, QImage::Format_ARGB32);
    image.setDotsPerMeterX(3937);
    image.setDotsPerMeterY(3937);
    image.fill(QColor(34, 38, 46));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(skin.darker(140), 3));
    p.setBrush(skin);
    p.drawEllipse(QPointF(160, 170), 118, 136);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(236, 236, 230));
    for (int x : {116, 204})
        p.drawEllipse(QPointF(x, 146), 26, 20);                       // eyes
    p.setBrush(skin.darker(170));
    for (int x : {116, 204})
        p.drawRoundedRect(QRectF(x - 32, 100, 64, 10), 5, 5);         // brows
    p.setBrush(accent);
    QPainterPath mouth;
    mouth.moveTo(104, 238);
    mouth.cubicTo(130, 262, 190, 262, 216, 238);
    mouth.cubicTo(190, 250, 130, 250, 104, 238);
    p.drawPath(mouth);
    return image;
}

bool fail(const QString& message)
{
    std::fprintf(stderr, "make_demo: %s\n%s\n", qPrintable(message),
                 qPrintable(sandbox::host::instance().output_text()));
    return false;
}

struct options {
    QString out;
    QString script = QStringLiteral(DEMO_SCRIPT);
    bool view = false;
    float zoom = 1.0f;
    QPoint shift;
    bool pickers = false;
};

bool parse(const QStringList& args, options& o)
{
    QStringList rest;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == "--pickers") {
            o.pickers = true;
        } else if (args[i] == "--view" && i + 1 < args.size()) {
            const QStringList v = args[++i].split(',');
            bool ok[3] = {};
            if (v.size() != 3)
                return false;
            o.zoom = v[0].toFloat(&ok[0]);
            o.shift = QPoint(v[1].toInt(&ok[1]), v[2].toInt(&ok[2]));
            if (!ok[0] || !ok[1] || !ok[2])
                return false;
            o.view = true;
        } else if (args[i].startsWith("--")) {
            return false;
        } else {
            rest << args[i];
        }
    }
    if (rest.isEmpty() || rest.size() > 2)
        return false;
    o.out = rest[0];
    if (rest.size() == 2)
        o.script = rest[1];
    return true;
}

// Every tab the script makes gets the zoom and pan as it becomes current,
// until the script is done.
QMetaObject::Connection look_at_tabs(const options& o)
{
    picker_window* w = picker_main::picker();
    if (!w)
        return {};
    return QObject::connect(w->tabs(), &QTabWidget::currentChanged, w, [o](int) {
        if (picker_view* view = picker_main::current_view()) {
            view->setZoom(o.zoom, QPoint(0, 0));
            view->setShift(o.shift);
        }
    });
}

bool save_pickers(const QDir& out)
{
    sandbox::host& h = sandbox::host::instance();
    picker_window* w = picker_main::picker();
    const int current = w->tabs()->currentIndex();
    for (int i = 0; i < w->tabs()->count(); ++i) {
        w->tabs()->setCurrentIndex(i);
        const QString path = out.filePath(w->tab_name(i) + ".pkr");
        if (!h.execute(QString("QuillmarshPicker saveas \"%1\"").arg(path)))
            return fail("cannot save " + path);
    }
    w->tabs()->setCurrentIndex(current);
    return true;
}

bool build(const options& o)
{
    const QDir out(o.out);
    const QString& script = o.script;
    sandbox::host& h = sandbox::host::instance();
    if (!draw_character(QColor(88, 120, 168), QColor(200, 160, 60)).save(out.filePath("images/hero.png")) ||
        !draw_character(QColor(176, 112, 72), QColor(90, 150, 110)).save(out.filePath("images/sidekick.png")) ||
        !draw_face(QColor(88, 120, 168), QColor(200, 160, 60)).save(out.filePath("images/hero_face.png")))
        return fail("cannot write the pictures");
    QFile file(script);
    if (!file.open(QIODevice::ReadOnly))
        return fail("cannot read " + script);
    QString error;
    if (!h.load_linked_plugin("QuillmarshPicker", "QuillmarshPicker.so", reinterpret_cast<void*>(&initializePlugin),
                              reinterpret_cast<void*>(&uninitializePlugin), &error))
        return fail(error);
    bool ok = h.execute(QString::fromUtf8(file.readAll()));
    QMetaObject::Connection looking;
    if (o.view) {
        ok = ok && h.execute("QuillmarshPicker");
        looking = look_at_tabs(o);
    }
    ok = ok && h.execute(QString("quillmarshBuildDemo(\"%1\")").arg(out.filePath("images")));
    QObject::disconnect(looking);
    h.drain_idle();
    if (!ok || h.error_count() > 0)
        return fail("the build script failed");
    if (!h.save_scene(out.filePath("demo.ma"), &error))
        return fail(error);
    return !o.pickers || save_pickers(out);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    options o;
    if (!parse(app.arguments().mid(1), o)) {
        std::fprintf(stderr, "usage: make_demo [--view ZOOM,X,Y] [--pickers] OUTPUT_FOLDER [BUILD_SCRIPT]\n");
        return 2;
    }
    QDir out(o.out);
    if (!out.mkpath("images")) {
        std::fprintf(stderr, "make_demo: cannot write into %s\n", qPrintable(o.out));
        return 1;
    }
    QMainWindow main;
    sandbox::host::instance().set_main_window(&main);
    bool ok = build(o);
    sandbox::host::instance().unload_plugin("QuillmarshPicker", nullptr);
    if (!ok)
        return 1;
    std::printf("make_demo: wrote %s\n", qPrintable(out.filePath("demo.ma")));
    return 0;
}
