#pragma once
// The About box: the logo, the program's name, its version and an OK button. It is modal;
// the application shows it through present(), in which a test can take the place of
// exec() so that nothing blocks headless.

#include <QDialog>

#include <functional>

class QPushButton;

class CAboutBox : public QDialog {
    Q_OBJECT

public:
    // Runs the box in place of exec() and gives what exec() would.
    using Runner = std::function<int(CAboutBox& box)>;

    static constexpr int kLogoWidth = 150;
    static constexpr int kNamePointSize = 15;

    explicit CAboutBox(QWidget* parent = nullptr);

    QPushButton* okButton() const { return mOkButton; }

    // "1.5.1": the settings version, two decimal digits each for minor and patch.
    static QString versionString();
    // Builds the box over `parent` and runs it modally until OK or the window's close
    // button; gives what exec() gives.
    static int present(QWidget* parent);
    // Replaces exec() in present(); an empty function restores it.
    static void setRunner(Runner runner);

private:
    QPushButton* mOkButton;
};
