#include "app/CMountingOptions.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <cmath>

namespace {
struct PresetAngles {
    const char* name;
    float yaw;
    float pitch;
    float roll;
};
// Upside down hangs the array from its top: half a turn about the front axis.
constexpr std::array<PresetAngles, 2> kPresets{{{"upright", 0.0f, 0.0f, 0.0f}, {"upside down", 0.0f, 0.0f, 180.0f}}};
constexpr std::array<const char*, 3> kAxisNames{"yaw", "pitch", "roll"};
// Yaw and roll go round; pitch tilts up to straight up or down.
constexpr std::array<double, 3> kLimits{180.0, 90.0, 180.0};
} // namespace

CMountingOptions::CMountingOptions(QWidget* parent) : QWidget(parent), mPreset(new QComboBox)
{
    auto* group = new QGroupBox(QStringLiteral("Array mounting (Ambisonics and OSC directions)"));
    auto* form = new QFormLayout(group);
    for (const PresetAngles& p : kPresets)
        mPreset->addItem(QString::fromLatin1(p.name));
    mPreset->addItem(QStringLiteral("custom"));
    form->addRow(QStringLiteral("Mounting"), mPreset);
    for (std::size_t axis = 0; axis < mAngles.size(); ++axis) {
        auto* box = new QDoubleSpinBox;
        box->setRange(-kLimits[axis], kLimits[axis]);
        box->setDecimals(1);
        box->setSuffix(QStringLiteral(" °"));
        box->setKeyboardTracking(false);
        mAngles[axis] = box;
        form->addRow(QString::fromLatin1(kAxisNames[axis]), box);
        connect(box, &QDoubleSpinBox::valueChanged, this, &CMountingOptions::angleEdited);
    }
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(group);
    connect(mPreset, &QComboBox::activated, this, &CMountingOptions::choosePreset);
}

float CMountingOptions::yaw() const { return static_cast<float>(mAngles[0]->value()); }
float CMountingOptions::pitch() const { return static_cast<float>(mAngles[1]->value()); }
float CMountingOptions::roll() const { return static_cast<float>(mAngles[2]->value()); }

void CMountingOptions::setMounting(float yaw, float pitch, float roll)
{
    const std::array<float, 3> values{yaw, pitch, roll};
    for (std::size_t axis = 0; axis < mAngles.size(); ++axis) {
        const QSignalBlocker block(mAngles[axis]);
        mAngles[axis]->setValue(static_cast<double>(values[axis]));
    }
    showPreset();
}

void CMountingOptions::choosePreset(int preset)
{
    if (preset < 0 || preset >= static_cast<int>(kPresets.size()))
        return;
    const PresetAngles& p = kPresets[static_cast<std::size_t>(preset)];
    if (p.yaw == yaw() && p.pitch == pitch() && p.roll == roll())
        return;
    setMounting(p.yaw, p.pitch, p.roll);
    emit mountingChanged(yaw(), pitch(), roll());
}

void CMountingOptions::angleEdited()
{
    showPreset();
    emit mountingChanged(yaw(), pitch(), roll());
}

void CMountingOptions::showPreset()
{
    int preset = Custom;
    for (std::size_t p = 0; p < kPresets.size(); ++p)
        if (kPresets[p].yaw == yaw() && kPresets[p].pitch == pitch() && std::abs(kPresets[p].roll) == std::abs(roll()))
            preset = static_cast<int>(p);
    const QSignalBlocker block(mPreset);
    mPreset->setCurrentIndex(preset);
}
