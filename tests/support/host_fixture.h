// What the tests of the plug-in in the stand-in host share: the host, a main
// window to dock into, MEL in and results out.
#pragma once

#include "linked_picker.h"
#include "plugin/picker_main.h"
#include "pointer.h"
#include "view/picker_view.h"
#include "window/picker_window.h"

#include <QMainWindow>
#include <QTabWidget>
#include <QtTest>

struct host_fixture {
    sandbox::host& h = sandbox::host::instance();
    QMainWindow main;

    bool run(const QString& mel, mel::value* result = nullptr) { return h.execute(mel, result); }

    // The plug-in loaded and its window open, the host idle; empty, or why not.
    QString open_picker_window()
    {
        const QString failed = start_linked_picker(h, &main, "QuillmarshPicker.so");
        if (!failed.isEmpty())
            return failed;
        run("QuillmarshPicker");
        h.drain_idle();
        return QString();
    }

    // What the MEL gives back as strings: none for no result, "<failed>"
    // when it fails.
    QStringList result(const QString& mel)
    {
        mel::value v;
        if (!h.execute(mel, &v))
            return {"<failed>"};
        return v.is_none() ? QStringList() : v.to_strings();
    }

    // The repr() of a Python expression (a tuple may go without its
    // parentheses) after some statements, or why not.
    QString repr(const QString& statements, const QString& expression)
    {
        if (!statements.isEmpty() && !h.execute_python(statements))
            return "statements failed: " + h.output_text();
        mel::value v;
        if (!h.execute_python("repr((" + expression + "))", &v))
            return "expression failed: " + h.output_text();
        return v.to_string();
    }

    // The errors the script output holds, in order.
    QStringList errors() const
    {
        QStringList out;
        for (const sandbox::log_entry& e : h.output())
            if (e.kind == sandbox::log_kind::error)
                out << e.text;
        return out;
    }

    // Namespace `ns` with one transform for each name.
    void nodes(const QString& ns, const QStringList& names)
    {
        run("namespace -add " + ns);
        for (const QString& name : names)
            run(QString("createNode transform -n \"%1:%2\" -ss").arg(ns, name));
    }

    // A fresh session: no window, an empty host, then the scene.
    void restart_with_scene(const QString& scene)
    {
        picker_main::cleanup();
        h.reset();
        h.set_main_window(&main);
        QString error;
        QVERIFY2(h.open_scene(scene, &error), qPrintable(error));
    }

    static picker_window* window() { return picker_main::picker(); }
    static picker_view* view() { return picker_main::current_view(); }
    static picker_view* tab(int i) { return qobject_cast<picker_view*>(window()->tabs()->widget(i)); }
};
