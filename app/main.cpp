// The program: one CZircApp for the whole run, on Qt's event loop. The vector operations
// need no initialisation: each picks its code for the processor at its first call.

#include "app/CZircApp.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    auto* window = new CZircApp;
    // The size the window asks for leaves both displays above their least heights, so the
    // splitter keeps its 100:60 shares.
    window->resize(window->sizeHint());
    window->show();
    const int result = application.exec();
    delete window;
    return result;
}
