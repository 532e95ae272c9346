#include "app/CBinauralOptions.h"

#include "session/CZircSettings.h"
#include "widgets/CDialogSeam.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
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
constexpr std::array<const char*, 3> kAxisNames{"yaw (+ left)", "pitch (+ up)", "roll (+ left side up)"};
constexpr std::array<double, 3> kLimits{180.0, 90.0, 180.0};

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
    auto* headForm = new QFormLayout(head);
    for (std::size_t axis = 0; axis < mHead.size(); ++axis) {
        auto* box = new QDoubleSpinBox;
        box->setRange(-kLimits[axis], kLimits[axis]);
        box->setDecimals(1);
        box->setSuffix(QStringLiteral(" °"));
        box->setKeyboardTracking(false);
        mHead[axis] = box;
        headForm->addRow(QString::fromLatin1(kAxisNames[axis]), box);
        connect(box, &QDoubleSpinBox::valueChanged, this, &CBinauralOptions::headEdited);
    }

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

void CBinauralOptions::setHead(float yaw, float pitch, float roll)
{
    const std::array<float, 3> values{yaw, pitch, roll};
    for (std::size_t axis = 0; axis < mHead.size(); ++axis) {
        const QSignalBlocker block(mHead[axis]);
        mHead[axis]->setValue(static_cast<double>(values[axis]));
    }
}

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

void CBinauralOptions::headEdited()
{
    emit headChanged(static_cast<float>(mHead[0]->value()), static_cast<float>(mHead[1]->value()),
                     static_cast<float>(mHead[2]->value()));
}

void CBinauralOptions::oscEdited() { emit oscChanged(mOscEnabled->isChecked(), mPort->value()); }
