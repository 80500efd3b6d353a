// Mouse and wheel input sent straight to a widget, at widget points.
#pragma once

#include <QApplication>
#include <QMouseEvent>
#include <QWheelEvent>

inline void mouse(QWidget* w, QEvent::Type type, QPoint pos, Qt::MouseButton button, Qt::MouseButtons held,
                  Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    QMouseEvent e(type, pos, w->mapToGlobal(pos), button, held, mods);
    QApplication::sendEvent(w, &e);
}

inline void press(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier,
                  Qt::MouseButton b = Qt::LeftButton)
{
    mouse(w, QEvent::MouseButtonPress, pos, b, b, mods);
}

inline void move(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier,
                 Qt::MouseButtons held = Qt::LeftButton)
{
    mouse(w, QEvent::MouseMove, pos, Qt::NoButton, held, mods);
}

inline void release(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier,
                    Qt::MouseButton b = Qt::LeftButton)
{
    mouse(w, QEvent::MouseButtonRelease, pos, b, Qt::NoButton, mods);
}

inline void click(QWidget* w, QPoint pos, Qt::KeyboardModifiers mods = Qt::NoModifier)
{
    press(w, pos, mods);
    release(w, pos, mods);
}

inline void wheel(QWidget* w, QPoint pos, int delta, int sideways = 0)
{
    QWheelEvent e(QPointF(pos), QPointF(w->mapToGlobal(pos)), QPoint(), QPoint(sideways, delta), Qt::NoButton,
                  Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(w, &e);
}
