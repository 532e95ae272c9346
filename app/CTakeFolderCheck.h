#pragma once
// What the application checks in its recording folders when it starts: a folder it
// cannot write into is reported at once (not first when a take fails), and takes that a
// crash or a power cut left unfinished are offered for repair through the dialog seam.
// A repaired take keeps every whole frame its file holds; one that is also damaged is
// named with the reason and left as it is. Main thread.

#include <QString>
#include <QStringList>

class QWidget;

class CTakeFolderCheck {
public:
    static void run(QWidget* parent, const QString& title, const QStringList& folders);

private:
    static void checkWritable(QWidget* parent, const QString& title, const QString& folder);
    static void offerRepair(QWidget* parent, const QString& title, const QString& folder);
};
