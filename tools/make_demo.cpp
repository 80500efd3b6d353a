// Builds the demo scene: two characters, "hero" and "sidekick", each with 44
// controls, and a picker tab for each over a drawing of the character. The
// scene is made by the stand-in host with the plug-in's own code, so the
// stored picker data is exactly what the plug-in writes.
//   make_demo OUTPUT_FOLDER      (writes demo.ma and images/*.png)
#include "plugin/picker_main.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <sandbox/host.h>

#include <maya/MObject.h>

#include <QApplication>
#include <QDir>
#include <QMainWindow>
#include <QPainter>
#include <QPainterPath>
#include <QTabWidget>

#include <cstdio>

MStatus initializePlugin(MObject obj);
MStatus uninitializePlugin(MObject obj);

namespace {

struct control {
    const char* name;
    int x, y;       // centre on the picture, for the left side when paired
    bool paired;    // L_ and R_ versions, mirrored about the middle
    int w, h;
};

const int image_width = 320;
const int image_height = 520;

// Picture coordinates of each control's button. Left is the character's
// left, drawn on the right of the picture as it faces us.
const control controls[] = {
    {"head_ctrl", 160, 62, false, 44, 18},     {"jaw_ctrl", 160, 96, false, 24, 10},
    {"neck_ctrl", 160, 118, false, 22, 10},    {"chest_ctrl", 160, 160, false, 54, 14},
    {"spine_03_ctrl", 160, 186, false, 40, 10}, {"spine_02_ctrl", 160, 204, false, 40, 10},
    {"spine_01_ctrl", 160, 222, false, 40, 10}, {"cog_ctrl", 160, 246, false, 70, 12},
    {"hips_ctrl", 160, 266, false, 50, 12},    {"root_ctrl", 160, 500, false, 120, 12},
    {"eye_ctrl", 176, 56, true, 10, 8},        {"brow_ctrl", 176, 44, true, 14, 6},
    {"clavicle_ctrl", 184, 136, true, 24, 8},  {"shoulder_ctrl", 214, 146, true, 14, 14},
    {"elbow_ctrl", 232, 206, true, 14, 14},    {"wrist_ctrl", 246, 262, true, 14, 10},
    {"hand_ctrl", 252, 284, true, 18, 12},     {"thumb_ctrl", 236, 300, true, 7, 14},
    {"index_ctrl", 246, 308, true, 6, 16},     {"middle_ctrl", 254, 310, true, 6, 18},
    {"ring_ctrl", 262, 308, true, 6, 16},      {"pinky_ctrl", 270, 304, true, 6, 14},
    {"hip_ctrl", 186, 292, true, 16, 14},      {"knee_ctrl", 192, 382, true, 16, 14},
    {"ankle_ctrl", 196, 452, true, 16, 10},    {"foot_ctrl", 200, 474, true, 30, 12},
    {"toe_ctrl", 206, 488, true, 14, 6},
};

QStringList control_names()
{
    QStringList names;
    for (const control& c : controls) {
        if (c.paired)
            names << QString("L_%1").arg(c.name) << QString("R_%1").arg(c.name);
        else
            names << c.name;
    }
    return names;
}

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

buttonAttributes make_button(QPoint pos, int w, int h, QStringList names, quint32 color, QString label)
{
    buttonAttributes a;
    a.pos = pos;
    a.size = a.width = w;
    a.height = h;
    a.kind = 0;
    a.language = 0;
    a.color = color;
    a.labelColor = 0xffffff;
    a.label = label;
    a.names = names;
    return a;
}

// The picker of one character: a button per control (left side red, right
// side blue, middle yellow), group buttons and a command button.
void fill_picker(picker_view* view, const QString& ns)
{
    const quint32 left = 0xc0392b, right = 0x2e6fd8, middle = 0xe1b12c;
    for (const control& c : controls) {
        if (!c.paired) {
            view->push_button(make_button(QPoint(c.x, c.y), c.w, c.h, {ns + ':' + c.name}, middle, QString()), -1);
            continue;
        }
        view->push_button(make_button(QPoint(c.x, c.y), c.w, c.h, {QString("%1:L_%2").arg(ns, c.name)}, left,
                                      QString()), -1);
        view->push_button(make_button(QPoint(image_width - c.x, c.y), c.w, c.h,
                                      {QString("%1:R_%2").arg(ns, c.name)}, right, QString()), -1);
    }
    for (const char* side : {"L", "R"}) {
        QStringList fingers;
        for (const char* f : {"thumb", "index", "middle", "ring", "pinky"})
            fingers << QString("%1:%2_%3_ctrl").arg(ns, side, f);
        bool isLeft = QString(side) == "L";
        int x = isLeft ? 290 : image_width - 290;
        view->push_button(make_button(QPoint(x, 336), 24, 14, fingers, isLeft ? left : right,
                                      QString("%1 fingers").arg(side)), -1);
        QStringList leg;
        for (const char* part : {"hip", "knee", "ankle", "foot", "toe"})
            leg << QString("%1:%2_%3_ctrl").arg(ns, side, part);
        view->push_button(make_button(QPoint(isLeft ? 250 : image_width - 250, 420), 20, 14, leg,
                                      isLeft ? left : right, QString("%1 leg").arg(side)), -1);
    }
    QStringList all;
    for (const QString& name : control_names())
        all << ns + ':' + name;
    view->push_button(make_button(QPoint(44, 24), 60, 16, all, 0x16a085, "All"), -1);
    buttonAttributes reset = make_button(QPoint(276, 24), 60, 16,
                                         {QString("select -cl; print \"%1: selection cleared\\n\";").arg(ns)},
                                         0x7f8c8d, "Clear");
    reset.kind = 1;
    view->push_button(reset, -1);
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_demo OUTPUT_FOLDER\n");
        return 2;
    }
    QDir out(QString::fromLocal8Bit(argv[1]));
    if (!out.mkpath("images")) {
        std::fprintf(stderr, "make_demo: cannot write into %s\n", argv[1]);
        return 1;
    }
    sandbox::host& h = sandbox::host::instance();
    QMainWindow main;
    h.set_main_window(&main);
    QString error;
    if (!h.load_linked_plugin("QuillmarshPicker", "QuillmarshPicker.so", reinterpret_cast<void*>(&initializePlugin),
                              reinterpret_cast<void*>(&uninitializePlugin), &error)) {
        std::fprintf(stderr, "make_demo: %s\n", qPrintable(error));
        return 1;
    }
    h.drain_idle();

    struct character {
        const char* ns;
        QColor body, accent;
    } characters[] = {{"hero", QColor(88, 120, 168), QColor(200, 160, 60)},
                      {"sidekick", QColor(176, 112, 72), QColor(90, 150, 110)}};

    bool ok = h.execute("QuillmarshPicker");
    h.drain_idle();
    picker_window* window = picker_main::picker();
    ok = ok && window;
    if (ok)
        window->clear_tabs();
    for (const character& c : characters) {
        if (!ok)
            break;
        QString ns = c.ns;
        ok = h.execute(QString("namespace -add %1").arg(ns));
        for (const QString& name : control_names())
            ok = ok && h.execute(QString("createNode transform -n \"%1:%2\" -ss").arg(ns, name));
        QString picture = out.filePath(QString("images/%1.png").arg(ns));
        ok = ok && draw_character(c.body, c.accent).save(picture);
        window->new_tab();
        window->tabs()->setTabText(window->tabs()->currentIndex(), ns);
        picker_view* view = window->frontPicker();
        QPixmap pixmap(picture);
        // A named key rather than the pixmap's cache key keeps the scene the
        // same from one build to the next.
        view->setBackground(ns + "_background", pixmap);
        window->setImageData(view);
        fill_picker(view, ns);
    }
    if (ok) {
        window->tabs()->setCurrentIndex(0);
        window->updateSceneData();
        h.drain_idle();
        ok = h.execute("select -cl") && h.save_scene(out.filePath("demo.ma"), &error);
    }
    h.unload_plugin("QuillmarshPicker", nullptr);
    if (!ok) {
        std::fprintf(stderr, "make_demo: %s\n%s\n", qPrintable(error), qPrintable(h.output_text()));
        return 1;
    }
    std::printf("make_demo: wrote %s\n", qPrintable(out.filePath("demo.ma")));
    return 0;
}
