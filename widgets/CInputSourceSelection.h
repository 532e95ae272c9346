#pragma once
// The choice between the live input and a wave file, and the file's name. It only holds
// the choice: the application connects its signals and opens the file.

#include <QWidget>

#include <array>

class QAbstractButton;
class QLabel;
class QPushButton;
class QRadioButton;

class CInputSourceSelection : public QWidget {
    Q_OBJECT
public:
    enum tMode { Live = 0, File = 1 };
    Q_ENUM(tMode)

    explicit CInputSourceSelection(const QString& resourcePath, QWidget* parent = nullptr);

    tMode mode() const { return mMode; }
    QString fileName() const { return mFileName; }
    QString baseName() const { return mBaseName; }
    QString directory() const { return mDirectory; }
    // Enables or disables the load button and the file's label.
    void setFileControlsEnabled(bool enabled);

    QRadioButton* modeButton(tMode mode) const { return mModeButtons[mode]; }
    QPushButton* loadButton() const { return mLoadButton; }
    QLabel* fileLabel() const { return mFileLabel; }

signals:
    void modeChanged(int mode);
    void fileNameChanged(QString fileName);

public slots:
    // Both setters change the display only and emit nothing, so restoring settings
    // triggers nothing.
    void setMode(CInputSourceSelection::tMode mode);
    void setFileName(const QString& fileName);
    void setModeEnabled(CInputSourceSelection::tMode mode, bool enabled);
    void openFileDialog();
    // A click on a radio button: the mode of its text, reported even when unchanged.
    void updateMode();

private:
    // A value cast from a number outside the enumeration changes nothing.
    static bool validMode(int mode) { return mode == Live || mode == File; }

    std::array<QRadioButton*, 2> mModeButtons;
    QPushButton* mLoadButton;
    QLabel* mFileLabel;
    tMode mMode = File;
    QString mFileName;
    QString mBaseName;
    QString mDirectory;
    QString mResourcePath;
};
