#include "widgets/CVolumeUnit.h"

#include "widgets/CDialogSeam.h"
#include "widgets/COnOffButton.h"
#include "widgets/vkRound.h"

#include <QDoubleValidator>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QSlider>
#include <QVBoxLayout>

#include <cmath>

CVolumeUnit::CVolumeUnit(int controls, QWidget* parent)
    : QWidget(parent), mControls(controls)
{
    QFont small = font();
    small.setPointSize(7);

    mSlider = new QSlider(Qt::Vertical, this);
    mMuteButton = makeSwitch(QStringLiteral("M"), tr("Mute"), COnOffButton::Red, COnOffButton::Green);
    mSoloButton = makeSwitch(QStringLiteral("S"), tr("Solo"), COnOffButton::Red, COnOffButton::Green);
    mLinkButton = makeSwitch(QStringLiteral("L"), tr("Link"), COnOffButton::Yellow, COnOffButton::Grey);
    for (COnOffButton* b : {mMuteButton, mSoloButton, mLinkButton})
        b->setFont(small);

    mValidator = new QDoubleValidator(this);
    mEdit = new QLineEdit(QStringLiteral("0"), this);
    mEdit->setAlignment(Qt::AlignCenter);
    mEdit->setValidator(mValidator);
    mEdit->setFont(small);

    mLabelWidget = new QLabel(mLabel, this);
    mLabelWidget->setAlignment(Qt::AlignCenter);
    mLabelWidget->setToolTip(tr("Channel Label (click to change)"));

    connect(this, &CVolumeUnit::changeLabel, this, &CVolumeUnit::labelDialog);
    connect(mMuteButton, &QAbstractButton::clicked, this, &CVolumeUnit::muteClicked);
    connect(mSoloButton, &QAbstractButton::clicked, this, &CVolumeUnit::soloClicked);
    connect(mLinkButton, &QAbstractButton::clicked, this, &CVolumeUnit::linkClicked);
    // The edit follows the slider before the gain goes out.
    connect(mSlider, &QSlider::valueChanged, this, qOverload<int>(&CVolumeUnit::updateVolume));
    connect(mEdit, &QLineEdit::textChanged, this, qOverload<const QString&>(&CVolumeUnit::updateVolume));
    connect(mSlider, &QSlider::valueChanged, this, &CVolumeUnit::sendGain);

    // 5 / 0.1f in double precision truncates to 49, the page step the fader always had.
    // The slider stays at position 0, 0 dB, in agreement with the edit's "0"; owners set
    // their value at once.
    setRange(mMin, mMax, mStep, mSingleStep, static_cast<int>(5.0 / mStep));
    buildLayout();
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
}

COnOffButton* CVolumeUnit::makeSwitch(const QString& text, const QString& toolTip, int onScheme, int offScheme)
{
    auto* button = new COnOffButton(this);
    button->setSchemes(onScheme, offScheme);
    button->setTexts(text, text);
    button->setToolTip(toolTip);
    button->setCheckable(true);
    button->setMinimumSize(14, 14);
    button->setFixedSize(14, 14);
    return button;
}

void CVolumeUnit::buildLayout()
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 11, 2, 11);
    if (mControls & Label)
        layout->addWidget(mLabelWidget, 0, Qt::AlignHCenter);
    layout->addWidget(mEdit, 0, Qt::AlignHCenter);
    layout->addWidget(mSlider, 0, Qt::AlignHCenter);
    const std::pair<int, COnOffButton*> switches[] = {
        {MuteButton, mMuteButton}, {SoloButton, mSoloButton}, {LinkButton, mLinkButton}};
    if (mControls & (MuteButton | SoloButton | LinkButton)) {
        auto* buttons = new QVBoxLayout;
        for (auto [bit, button] : switches)
            if (mControls & bit)
                buttons->addWidget(button, 0, Qt::AlignHCenter);
        layout->addLayout(buttons);
    }
    mLabelWidget->setVisible(mControls & Label);
    for (auto [bit, button] : switches)
        button->setVisible(mControls & bit);

    mMinWidth = 45;
    mMinHeight = 140;
    if (mControls & Label)
        mMinHeight += mLabelWidget->minimumSizeHint().height() + layout->spacing();
    for (auto [bit, button] : switches)
        if (mControls & bit)
            mMinHeight += button->minimumHeight() + layout->spacing();
}

QSize CVolumeUnit::sizeHint() const { return {mMinWidth + 10, mMinHeight + 20}; }
QSize CVolumeUnit::minimumSizeHint() const { return {mMinWidth, mMinHeight}; }

void CVolumeUnit::setRange(int min, int max, float step, int singleStep, int pageStep)
{
    if (!(step > 0.0f) || max < min)
        return;
    mMin = min;
    mMax = max;
    mStep = step;
    mSingleStep = singleStep;
    {
        // A new range reports nothing.
        const QSignalBlocker quietSlider(mSlider);
        const QSignalBlocker quietEdit(mEdit);
        mSlider->setRange(static_cast<int>(std::floor(mMin / mStep)), static_cast<int>(std::ceil(mMax / mStep)));
        mSlider->setSingleStep(singleStep);
        mSlider->setPageStep(pageStep);
        mValidator->setNotation(QDoubleValidator::StandardNotation);
        mValidator->setRange(mMin, mMax, 1);
    }
    mGainTable.clear();
    setTickLabels(mLabelStep);
    if (mMakeTable) {
        const int first = mSlider->minimum();
        mGainTable.resize(mSlider->maximum() - first + 1);
        for (std::size_t i = 0; i < mGainTable.size(); ++i)
            mGainTable[i] = static_cast<float>(std::pow(10.0, (first + static_cast<int>(i)) * mStep * 0.05));
    }
}

void CVolumeUnit::setMakeTable(bool make)
{
    mMakeTable = make;
    setRange(mMin, mMax, mStep, mSingleStep, 10);
}

void CVolumeUnit::setTickPosition(int position)
{
    mTickPosition = position;
    if (position != 0)
        mSlider->setTickPosition(QSlider::TicksRight);
    update();
}

void CVolumeUnit::setTickLabels(int step)
{
    mLabelStep = step;
    mTickLabels.clear();
    if (step > 0)
        for (int v = mMin; v <= mMax; v += step)
            mTickLabels << QString::number(v) + mSuffix;
    update();
}

void CVolumeUnit::setSuffix(const QString& suffix)
{
    mSuffix = suffix;
    setTickLabels(mLabelStep);
}

float CVolumeUnit::volume() const
{
    return static_cast<float>(mSlider->value() * mStep);
}

float CVolumeUnit::gain() const
{
    return mGainTable.empty() ? 0.0f : mGainTable[mSlider->value() - mSlider->minimum()];
}

void CVolumeUnit::labelDialog()
{
    const std::optional<QString> text = CDialogSeam::getText(this, tr("Label Dialog"), tr("New Label:"), mLabel);
    if (text && !text->isEmpty())
        setLabel(*text);
}

void CVolumeUnit::setLabel(const QString& label)
{
    if (label == mLabel)
        return;
    mLabel = label;
    mLabelWidget->setText(label);
    mLabelWidget->setToolTip(label);
    emit labelChanged(label);
}

void CVolumeUnit::setVolume(float volume)
{
    mSlider->setValue(vkRound(volume / mStep));
}

void CVolumeUnit::setMute(bool mute) { mMuteButton->setChecked(mute); }
void CVolumeUnit::setSolo(bool solo) { mSoloButton->setChecked(solo); }
void CVolumeUnit::setLink(bool link) { mLinkButton->setChecked(link); }

void CVolumeUnit::sendGain(int gainStep)
{
    if (!mGainTable.empty())
        emit gainChanged(mGainTable[gainStep - mSlider->minimum()]);
    emit volumeChanged(gainStep * mStep);
}

void CVolumeUnit::updateVolume(int volumeStep)
{
    mEdit->setText(QString::number(volumeStep * mStep, 'f', 1));
}

void CVolumeUnit::updateVolume(const QString& volumeStr)
{
    bool ok = false;
    float value = volumeStr.toFloat(&ok);
    if (!ok)
        value = 0.0f;
    mSlider->setValue(vkRound(value / mStep));
}

void CVolumeUnit::mousePressEvent(QMouseEvent* event)
{
    if (mLabelWidget->isVisible() && mLabelWidget->geometry().contains(event->position().toPoint()))
        emit changeLabel();
    QWidget::mousePressEvent(event);
}

void CVolumeUnit::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const int w = width(), h = height();
    painter.setPen(Qt::gray);
    painter.setBrush(QColor(220, 220, 220));
    painter.drawRoundedRect(QRect(1, 2, w - 3, h - 3), w / 6, w / 6, Qt::AbsoluteSize);
    if (mControls & Label) {
        const int y = mEdit->geometry().top() - 4;
        painter.drawLine(4, y, w - 5, y);
    }
    if (mTickPosition == ScaleRight)
        drawScale(painter);
}

void CVolumeUnit::drawScale(QPainter& painter)
{
    if (mMax <= mMin)
        return;
    int labelStep = mLabelStep;
    QStringList labels = mTickLabels;
    if (labelStep == 0) {
        // No step chosen: a label at each end and one in the middle.
        labelStep = std::max(1, (mMax - mMin) / 2);
        for (int v = mMin; v <= mMax; v += labelStep)
            labels << QString::number(v) + mSuffix;
    }
    QFont font;
    font.setPixelSize(8);
    painter.setFont(font);
    painter.setPen(Qt::darkGray);
    painter.setBrush(Qt::NoBrush);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const QRect slider = mSlider->geometry();
    const int x = slider.x() + slider.width();
    const int b = slider.y() + slider.height() - 10;
    const float s = static_cast<float>(slider.height() - 10) / static_cast<float>(mMax - mMin);
    for (int j = 0; j < labels.size(); ++j) {
        const int up = vkRound(j * labelStep * s);
        painter.drawText(QRect(QPoint(x, b - up), QPoint(x + 33, b + 9 - up)), Qt::AlignLeft | Qt::AlignVCenter,
                         labels[j]);
    }
}
