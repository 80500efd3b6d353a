// The command line of the application: a scene, a plug-in, and steps that run
// in the order given once the session is up.
#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

struct app_step {
    enum kind { mel, mel_file, python, python_file, screenshot, save_scene, picker_size, picker_zoom };
    kind what;
    QString value;
};

struct app_options {
    QString scene;
    QString plugin; // empty: the module beside the executable
    QVector<app_step> steps;
    bool quit = false;
    // Like maya -batch: no interface at all, and the run ends when the steps do.
    bool batch = false;
};

// Fills *options from the arguments after the program name; false with
// *error set for an unknown option, a missing value or a second scene.
bool parse_command_line(const QStringList& args, app_options* options, QString* error);

QString usage_text();
