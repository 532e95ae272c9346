// The program: one CZircApp for the whole run, on Qt's event loop. The vector operations
// need no initialisation: each picks its code for the processor at its first call.

#include "app/CZircApp.h"

#include <QApplication>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    auto* window = new CZircApp;
    window->show();
    const int result = application.exec();
    delete window;
    return result;
}
