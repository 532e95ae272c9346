#pragma once
// Yaw, pitch and roll in degrees as three fields in a form (yaw and roll -180..180, pitch
// -90..90), for the array's mounting and the listener's head. Values set from code emit
// nothing; a value the user enters emits changed once.

#include <QObject>

#include <array>

class QDoubleSpinBox;
class QFormLayout;

class COrientationFields : public QObject {
    Q_OBJECT

public:
    // The three rows go into `form`, labelled with `labels`.
    COrientationFields(QFormLayout* form, const std::array<const char*, 3>& labels, QObject* parent);

    void setAngles(float yaw, float pitch, float roll);
    float yaw() const;
    float pitch() const;
    float roll() const;
    // 0 yaw, 1 pitch, 2 roll.
    QDoubleSpinBox* box(int axis) const { return mBoxes[static_cast<std::size_t>(axis)]; }

signals:
    void changed(float yaw, float pitch, float roll);

private:
    std::array<QDoubleSpinBox*, 3> mBoxes{};
};
