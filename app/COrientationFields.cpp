#include "app/COrientationFields.h"

#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSignalBlocker>

namespace {
// Yaw and roll go round; pitch tilts up to straight up or down.
constexpr std::array<double, 3> kLimits{180.0, 90.0, 180.0};
} // namespace

COrientationFields::COrientationFields(QFormLayout* form, const std::array<const char*, 3>& labels, QObject* parent)
    : QObject(parent)
{
    for (std::size_t axis = 0; axis < mBoxes.size(); ++axis) {
        auto* box = new QDoubleSpinBox;
        box->setRange(-kLimits[axis], kLimits[axis]);
        box->setDecimals(1);
        box->setSuffix(QStringLiteral(" °"));
        box->setKeyboardTracking(false);
        mBoxes[axis] = box;
        form->addRow(QString::fromLatin1(labels[axis]), box);
        connect(box, &QDoubleSpinBox::valueChanged, this, [this] { emit changed(yaw(), pitch(), roll()); });
    }
}

void COrientationFields::setAngles(float yaw, float pitch, float roll)
{
    const std::array<float, 3> values{yaw, pitch, roll};
    for (std::size_t axis = 0; axis < mBoxes.size(); ++axis) {
        const QSignalBlocker block(mBoxes[axis]);
        mBoxes[axis]->setValue(static_cast<double>(values[axis]));
    }
}

float COrientationFields::yaw() const { return static_cast<float>(mBoxes[0]->value()); }
float COrientationFields::pitch() const { return static_cast<float>(mBoxes[1]->value()); }
float COrientationFields::roll() const { return static_cast<float>(mBoxes[2]->value()); }
