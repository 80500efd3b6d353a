#pragma once
#include <maya/MTypes.h>
#include <maya/MString.h>

class QString;
class QWidget;

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MQtUtil {
public:
    static QWidget* mainWindow();
    static QWidget* findControl(MString controlName, const QWidget* ancestor = NULL);
    static QWidget* findLayout(MString layoutName, const QWidget* ancestor = NULL);
    static QString toQString(const MString&);
    static MString toMString(const QString&);
};

OPENMAYA_NAMESPACE_CLOSE
