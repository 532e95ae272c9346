#include "PictureFolder.h"

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QWidget>

#include <cstdio>

PictureFolder::PictureFolder(const QString& path) : m_path(path)
{
    if (!QDir().mkpath(path)) {
        std::printf("FAILED to make folder %s\n", qPrintable(path));
        m_ok = false;
    }
}

void PictureFolder::save(QWidget& widget, QSize size, const char* name)
{
    widget.resize(size);
    widget.show();
    QApplication::processEvents();
    const QString file = m_path + "/" + name + ".png";
    const bool written = widget.grab().save(file);
    std::printf("%s %s\n", written ? "wrote" : "FAILED", qPrintable(file));
    m_ok &= written;
}
