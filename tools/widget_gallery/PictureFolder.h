#pragma once

#include <QSize>
#include <QString>

class QWidget;

// A folder the gallery writes pictures into. Each picture is the widget grabbed at a given
// size after the pending events have run; failures are printed and remembered so that the
// program can exit non-zero once all pictures have been tried.
class PictureFolder {
public:
    explicit PictureFolder(const QString& path);

    // Resizes and shows the widget, lets it lay out, then writes <path>/<name>.png.
    void save(QWidget& widget, QSize size, const char* name);

    bool ok() const { return m_ok; }

private:
    QString m_path;
    bool m_ok = true;
};
