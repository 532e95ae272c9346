#include "widgets/CBeamSelectionTrack.h"

#include "widgets/CDialogSeam.h"
#include "widgets/CHVolumeSlider.h"
#include "widgets/COnOffButton.h"
#include "widgets/CVolumeUnit.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLinearGradient>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <cmath>

CBeamSelectionTrack::CBeamSelectionTrack(int height, const Widths& widths, QWidget* parent) : QWidget(parent)
{
    mColorLabel = makeLabelCell(height, widths[IdColumn]);
    mTextLabel = makeLabelCell(height, widths[LabelColumn]);
    mAzimuthLabel = makeLabelCell(height, widths[AzimuthColumn]);
    mElevationLabel = makeLabelCell(height, widths[ElevationColumn]);
    mPatternBox = new QComboBox(this);
    mParameterBox = new QComboBox(this);
    mVolumeSlider = new CHVolumeSlider(this);
    mMuteButton = new COnOffButton(this);
    mMuteButton->setCheckable(true);
    mMuteButton->setTexts(QStringLiteral("M"), QStringLiteral("M"));
    mMuteButton->setToolTip(QStringLiteral("Mute"));
    QFont muteFont = mMuteButton->font();
    muteFont.setPointSize(7);
    mMuteButton->setFont(muteFont);

    const std::array<QWidget*, NumColumns> cells = {mColorLabel, mTextLabel,    mAzimuthLabel,  mElevationLabel,
                                                    mPatternBox, mParameterBox, mVolumeSlider, mMuteButton};
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(kRowIndent, 0, kRowIndent, 0);
    row->setSpacing(kCellSpacing);
    for (int column = 0; column < NumColumns; ++column) {
        QWidget* cell = cells[column];
        if (widths[column] == 0) {
            cell->hide();
            continue;
        }
        cell->setFixedSize(widths[column], column == VolumeColumn ? height + 10 : height);
        row->addWidget(cell, 0, Qt::AlignVCenter);
        mCells[column] = cell;
    }
    row->addStretch();
    mHeight = row->sizeHint().height();
    mWidth = row->sizeHint().width();

    mTextLabel->setAlignment(Qt::AlignCenter);
    paintColorDisc();
    connect(mMuteButton, &COnOffButton::clicked, this, &CBeamSelectionTrack::updateMute);
}

QLabel* CBeamSelectionTrack::makeLabelCell(int height, int width)
{
    auto* label = new QLabel(this);
    label->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    label->setAlignment(Qt::AlignCenter);
    label->setStyleSheet(QStringLiteral("background-color: white;"));
    label->setFixedSize(width, height);
    return label;
}

void CBeamSelectionTrack::setActive(bool active)
{
    if (active == mActive)
        return;
    mActive = active;
    renderBackground();
    update();
}

void CBeamSelectionTrack::setColor(const QColor& color)
{
    mColor = color;
    paintColorDisc();
    if (mActive)
        renderBackground();
    update();
}

void CBeamSelectionTrack::paintColorDisc()
{
    mColorPixmap = QPixmap(mColorLabel->size());
    mColorPixmap.fill(Qt::transparent);
    QPainter painter(&mColorPixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // A colour that a file left out is kept as it is and shows black.
    painter.setBrush(mColor.isValid() ? mColor : QColor(Qt::black));
    painter.drawEllipse(QRect(QPoint(0, 0), mColorPixmap.size()));
    painter.end();
    mColorLabel->setPixmap(mColorPixmap);
}

QString CBeamSelectionTrack::label() const { return mTextLabel->text(); }

void CBeamSelectionTrack::setLabel(const QString& label)
{
    mTextLabel->setText(label);
    mTextLabel->setToolTip(label);
    if (mPopupUnit)
        mPopupUnit->setLabel(label);
}

int CBeamSelectionTrack::phi() const { return mAzimuthLabel->text().toInt(); }
void CBeamSelectionTrack::setPhi(int angle) { mAzimuthLabel->setText(QString::number(angle)); }
int CBeamSelectionTrack::theta() const { return mElevationLabel->text().toInt(); }
void CBeamSelectionTrack::setTheta(int angle) { mElevationLabel->setText(QString::number(angle)); }

void CBeamSelectionTrack::fillPatternBox(const QStringList& patterns, int index)
{
    disconnect(mPatternConnection);
    mPatternBox->clear();
    mPatternBox->addItems(patterns);
    mPatternBox->setCurrentIndex(index);
    mPatternConnection = connect(mPatternBox, &QComboBox::currentIndexChanged, this,
                                 &CBeamSelectionTrack::updatePattern);
}

void CBeamSelectionTrack::fillParameterBox(const QStringList& parameters, int index)
{
    disconnect(mParameterConnection);
    mParameterBox->clear();
    mParameterBox->addItems(parameters);
    mParameterBox->setCurrentIndex(index);
    // A single value leaves nothing to choose.
    const bool choice = parameters.size() != 1;
    mParameterBox->setEnabled(choice);
    if (choice)
        mParameterConnection = connect(mParameterBox, &QComboBox::currentIndexChanged, this,
                                       &CBeamSelectionTrack::updateParameter);
}

int CBeamSelectionTrack::patternIndex() const { return mPatternBox->currentIndex(); }
QString CBeamSelectionTrack::patternText() const { return mPatternBox->currentText(); }
int CBeamSelectionTrack::parameterIndex() const { return mParameterBox->currentIndex(); }
QString CBeamSelectionTrack::parameterText() const { return mParameterBox->currentText(); }

float CBeamSelectionTrack::volume() const { return mVolumeSlider->volume(); }

void CBeamSelectionTrack::setVolume(float volume)
{
    mVolumeSlider->setVolume(volume);
    if (mPopupUnit) {
        // The fader would echo the value back as an edit by the user.
        const QSignalBlocker blocker(mPopupUnit);
        mPopupUnit->setVolume(volume);
    }
}

bool CBeamSelectionTrack::mute() const { return mMuteButton->isChecked(); }
void CBeamSelectionTrack::setMute(bool mute) { mMuteButton->setChecked(mute); }

CBeamSelectionTrack::Column CBeamSelectionTrack::columnAt(int x) const
{
    for (int column = 0; column < NumColumns; ++column) {
        const QWidget* c = mCells[column];
        if (c && x >= c->x() && x < c->x() + c->width())
            return static_cast<Column>(column);
    }
    return NumColumns;
}

void CBeamSelectionTrack::mousePressEvent(QMouseEvent* event)
{
    if (!mActive)
        emit trackClicked(mId);
    QWidget::mousePressEvent(event);
}

void CBeamSelectionTrack::mouseDoubleClickEvent(QMouseEvent* event)
{
    switch (columnAt(static_cast<int>(event->position().x()))) {
    case IdColumn: editColor(); break;
    case LabelColumn: editLabel(); break;
    case AzimuthColumn:
        editAngle(mAzimuthLabel, 360, QT_TR_NOOP("azimuth"), QT_TR_NOOP("azimuth angle in degree:"), &CBeamSelectionTrack::phiChanged);
        break;
    case ElevationColumn:
        editAngle(mElevationLabel, 180, QT_TR_NOOP("elevation"), QT_TR_NOOP("elevation angle in degree:"),
                  &CBeamSelectionTrack::thetaChanged);
        break;
    case VolumeColumn: openVolumePopup(); break;
    default: QWidget::mouseDoubleClickEvent(event); break;
    }
}

void CBeamSelectionTrack::editColor()
{
    const QColor color = CDialogSeam::getColor(this, mColor);
    if (!color.isValid())
        return;
    setColor(color);
    emit colorChanged(mId, color);
}

void CBeamSelectionTrack::editLabel()
{
    const auto text = CDialogSeam::getText(this, tr("label"), tr("new label for beam track:"), label());
    if (!text)
        return;
    setLabel(*text);
    emit labelChanged(mId, *text);
}

void CBeamSelectionTrack::editAngle(QLabel* cell, int max, const char* title, const char* prompt,
                                    void (CBeamSelectionTrack::*signal)(int, int))
{
    const auto angle = CDialogSeam::getInt(this, {tr(title), tr(prompt), cell->text().toInt(), 0, max, 1});
    if (!angle)
        return;
    cell->setText(QString::number(*angle));
    emit(this->*signal)(mId, *angle);
}

void CBeamSelectionTrack::openVolumePopup()
{
    if (!mVolumePopup) {
        // A window of its own, owned by the row so that it goes with it.
        mVolumePopup = new QWidget(this, Qt::Window);
        mPopupUnit = new CVolumeUnit(CVolumeUnit::Label, mVolumePopup);
        mPopupUnit->setMakeTable(true);
        mPopupUnit->setRange(-20, 20, 0.1f, 1, 10);
        mPopupUnit->setTickPosition(CVolumeUnit::ScaleRight);
        mPopupUnit->setTickLabels(5);
        mPopupUnit->setSuffix(QString());
        mPopupUnit->setLabel(label());
        setVolume(volume());
        auto* layout = new QVBoxLayout(mVolumePopup);
        layout->addWidget(mPopupUnit);
        connect(mPopupUnit, &CVolumeUnit::volumeChanged, this, &CBeamSelectionTrack::updateVolume);
        connect(mPopupUnit, &CVolumeUnit::gainChanged, this, &CBeamSelectionTrack::updateGain);
    }
    if (mVolumePopup->isHidden())
        mVolumePopup->show();
    else
        mVolumePopup->activateWindow();
}

void CBeamSelectionTrack::updatePattern(int index)
{
    // The list settles the parameter for the new pattern and refills the box.
    mParameterBox->setEnabled(false);
    emit patternChanged(mId, index);
}

void CBeamSelectionTrack::updateParameter(int index) { emit parameterChanged(mId, index); }

void CBeamSelectionTrack::updateVolume(float volume)
{
    mVolumeSlider->setVolume(volume);
    emit volumeChanged(mId, volume);
}

void CBeamSelectionTrack::updateGain(float gain) { emit gainChanged(mId, gain); }

void CBeamSelectionTrack::updateMute(bool mute) { emit muteChanged(mId, mute); }

void CBeamSelectionTrack::hideEvent(QHideEvent* event)
{
    if (mVolumePopup)
        mVolumePopup->hide();
    QWidget::hideEvent(event);
}

void CBeamSelectionTrack::resizeEvent(QResizeEvent* event)
{
    renderBackground();
    QWidget::resizeEvent(event);
}

void CBeamSelectionTrack::renderBackground()
{
    const int w = width(), h = height();
    mBackground = QPixmap(size());
    mBackground.fill(Qt::transparent);
    if (w <= 0 || h <= 0)
        return;
    QLinearGradient gradient(0.1 * w, 0.3 * h, w, 0.7 * h);
    if (mActive) {
        QColor faded = mColor;
        faded.setAlpha(50);
        QColor full = mColor;
        full.setAlpha(255);
        gradient.setColorAt(0, full);
        gradient.setColorAt(1, faded);
    } else {
        gradient.setColorAt(0, QColor(220, 220, 220));
        gradient.setColorAt(1, QColor(240, 240, 240));
    }
    QPainter painter(&mBackground);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(gradient);
    const int radius = h / 6;
    painter.drawRoundedRect(QRectF(QPointF(1, 2), QPointF(w - 3, h - 2)), radius, radius);
}

void CBeamSelectionTrack::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.drawPixmap(0, 0, mBackground);
}
