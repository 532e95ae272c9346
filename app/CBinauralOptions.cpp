#include "app/CBinauralOptions.h"

#include "app/COrientationFields.h"

#include "session/CZircSettings.h"
#include "widgets/CDialogSeam.h"

#include <QCheckBox>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {
QGroupBox* hrtfGroup(QLineEdit* file, QPushButton* choose, QPushButton* defaults)
{
    auto* group = new QGroupBox(QStringLiteral("Ear responses (SOFA file)"));
    auto* row = new QHBoxLayout(group);
    file->setReadOnly(true);
    row->addWidget(file, 1);
    row->addWidget(choose);
    row->addWidget(defaults);
    return group;
}
} // namespace

CBinauralOptions::CBinauralOptions(QWidget* parent)
    : QWidget(parent)
    , mHrtfFile(new QLineEdit)
    , mChoose(new QPushButton(QStringLiteral("Choose...")))
    , mDefault(new QPushButton(QStringLiteral("Default")))
    , mOscEnabled(new QCheckBox(QStringLiteral("Listen for OSC")))
    , mPort(new QSpinBox)
    , mOscState(new QLabel)
{
    auto* head = new QGroupBox(QStringLiteral("Listener's head"));
    mHead = new COrientationFields(new QFormLayout(head), {"yaw (+ left)", "pitch (+ up)", "roll (+ left side up)"}, this);
    connect(mHead, &COrientationFields::changed, this, &CBinauralOptions::headChanged);

    auto* osc = new QGroupBox(QStringLiteral("Remote control (OSC over UDP)"));
    auto* oscForm = new QFormLayout(osc);
    mPort->setRange(1, 65535);
    mPort->setKeyboardTracking(false);
    oscForm->addRow(mOscEnabled);
    oscForm->addRow(QStringLiteral("Port"), mPort);
    oscForm->addRow(mOscState);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hrtfGroup(mHrtfFile, mChoose, mDefault));
    layout->addWidget(head);
    layout->addWidget(osc);
    layout->addStretch(1);

    connect(mChoose, &QPushButton::clicked, this, &CBinauralOptions::chooseHrtf);
    connect(mDefault, &QPushButton::clicked, this,
            [this] { emit hrtfFileRequested(CZircSettings::defaults().mHrtfFile); });
    connect(mOscEnabled, &QCheckBox::toggled, this, &CBinauralOptions::oscEdited);
    connect(mPort, &QSpinBox::valueChanged, this, &CBinauralOptions::oscEdited);
}

void CBinauralOptions::setHrtfFile(const QString& path) { mHrtfFile->setText(path); }

QString CBinauralOptions::hrtfFile() const { return mHrtfFile->text(); }

void CBinauralOptions::setHead(float yaw, float pitch, float roll) { mHead->setAngles(yaw, pitch, roll); }

QDoubleSpinBox* CBinauralOptions::headBox(int axis) const { return mHead->box(axis); }

void CBinauralOptions::setOsc(bool enabled, int port)
{
    const QSignalBlocker blockBox(mOscEnabled);
    const QSignalBlocker blockPort(mPort);
    mOscEnabled->setChecked(enabled);
    mPort->setValue(port);
}

void CBinauralOptions::setOscState(const QString& text) { mOscState->setText(text); }

void CBinauralOptions::chooseHrtf()
{
    const QString start = QFileInfo(hrtfFile()).absolutePath();
    const QString path = CDialogSeam::getOpenFileName(
        this, {QStringLiteral("Ear responses"), start, QStringLiteral("SOFA files (*.sofa);;All files (*)")});
    if (!path.isEmpty())
        emit hrtfFileRequested(path);
}

void CBinauralOptions::oscEdited() { emit oscChanged(mOscEnabled->isChecked(), mPort->value()); }
