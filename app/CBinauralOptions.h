#pragma once
// The options page for binaural monitoring and remote control: the SOFA file of the ear
// responses (chosen through the dialog seam; the page shows the file in force, which the
// session confirms), the listener's head orientation, and the OSC server's port, its
// on/off box and its state. Values set from code emit nothing; each change by the user
// emits its signal once.

#include <QWidget>

class COrientationFields;
class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

class CBinauralOptions : public QWidget {
    Q_OBJECT

public:
    explicit CBinauralOptions(QWidget* parent = nullptr);

    void setHrtfFile(const QString& path);
    void setHead(float yaw, float pitch, float roll);
    void setOsc(bool enabled, int port);
    void setOscState(const QString& text);

    QString hrtfFile() const;
    QLineEdit* hrtfField() const { return mHrtfFile; }
    QPushButton* chooseButton() const { return mChoose; }
    QPushButton* defaultButton() const { return mDefault; }
    // 0 yaw, 1 pitch, 2 roll.
    QDoubleSpinBox* headBox(int axis) const;
    QCheckBox* oscBox() const { return mOscEnabled; }
    QSpinBox* portBox() const { return mPort; }
    QLabel* oscStateLabel() const { return mOscState; }

signals:
    // The user asked for these ear responses; the file in force changes only on success.
    void hrtfFileRequested(const QString& path);
    void headChanged(float yaw, float pitch, float roll);
    void oscChanged(bool enabled, int port);

private:
    void chooseHrtf();
    void oscEdited();

    QLineEdit* mHrtfFile;
    QPushButton* mChoose;
    QPushButton* mDefault;
    COrientationFields* mHead;
    QCheckBox* mOscEnabled;
    QSpinBox* mPort;
    QLabel* mOscState;
};
