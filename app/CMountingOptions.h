#pragma once
// How the array is mounted, on the options' hardware page: yaw, pitch and roll in degrees
// in the AmbiX frame (the rotation from the array's frame to the room's), with the two
// common mountings as presets. The Ambisonics channels and OSC beam directions follow it.
// Values set from code emit nothing; a change by the user emits mountingChanged once.

#include <QWidget>

class COrientationFields;
class QComboBox;
class QDoubleSpinBox;

class CMountingOptions : public QWidget {
    Q_OBJECT

public:
    enum Preset { Upright = 0, UpsideDown = 1, Custom = 2 };

    explicit CMountingOptions(QWidget* parent = nullptr);
    void setMounting(float yaw, float pitch, float roll);

    float yaw() const;
    float pitch() const;
    float roll() const;
    QComboBox* presetBox() const { return mPreset; }
    // 0 yaw, 1 pitch, 2 roll.
    QDoubleSpinBox* angleBox(int axis) const;

signals:
    void mountingChanged(float yaw, float pitch, float roll);

private:
    void choosePreset(int preset);
    void angleEdited();
    // The preset the angles are, or Custom.
    void showPreset();

    QComboBox* mPreset;
    COrientationFields* mAngles;
};
