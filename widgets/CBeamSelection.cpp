#include "widgets/CBeamSelection.h"

#include "widgets/COnOffButton.h"
#include "widgets/CDialogSeam.h"
#include "settings/BeamChoice.h"
#include "settings/CBeamSettings.h"

#include <QComboBox>
#include <QFileInfo>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {
constexpr int kRowHeight = 20;
constexpr int kHeaderHeight = 20;
constexpr int kBarButtonSize = 25;
constexpr int kRowSpacing = 2;
const char* const kHeaders[CBeamSelectionTrack::NumColumns] = {"ID",      "Label",         "Azimuth", "Elevation",
                                                               "Pattern", "Specification", "Volume",  "Mute"};
constexpr CBeamSelectionTrack::Widths kWidths = {30, 80, 50, 50, 80, 80, 80, 28};

const QString kDialogTitle = QStringLiteral("Beam Track Dialog");

int wrapDegrees(int angle)
{
    const int wrapped = angle % 360;
    return wrapped < 0 ? wrapped + 360 : wrapped;
}

QFrame* line(QFrame::Shape shape)
{
    auto* frame = new QFrame;
    frame->setFrameShape(shape);
    frame->setFrameShadow(QFrame::Sunken);
    return frame;
}
} // namespace

CBeamSelection::CBeamSelection(const QString& resourcePath, int maxTracks, int controls, int columns, QWidget* parent)
    : QWidget(parent), mMaxTracks(std::max(maxTracks, 0)), mControls(controls), mColumns(columns),
      mTracks(mMaxTracks, nullptr)
{
    auto* layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetMinimumSize);
    buildBar(resourcePath, layout);
    buildHeader(layout);
    layout->addWidget(line(QFrame::HLine));
    mTrackLayout = new QVBoxLayout;
    mTrackLayout->setContentsMargins(0, 0, 0, 0);
    mTrackLayout->setSpacing(kRowSpacing);
    layout->addLayout(mTrackLayout);
    layout->addStretch();
    mEmptySize = layout->sizeHint();
    resetNewValues();
}

COnOffButton* CBeamSelection::makeBarSwitch(const QString& text, const QString& toolTip)
{
    auto* button = new COnOffButton(this);
    button->setTexts(text, text);
    button->setToolTip(toolTip);
    button->setFixedSize(kBarButtonSize, kBarButtonSize);
    return button;
}

QPushButton* CBeamSelection::makeFileButton(const QString& icon, const QString& toolTip)
{
    auto* button = new QPushButton(QIcon(icon), QString(), this);
    button->setToolTip(toolTip);
    button->setFixedSize(kBarButtonSize, kBarButtonSize);
    return button;
}

void CBeamSelection::buildBar(const QString& resourcePath, QBoxLayout* layout)
{
    auto* bar = new QHBoxLayout;
    if (mControls & AddDeleteControl) {
        mAddButton = makeBarSwitch(QStringLiteral("+"), QStringLiteral("Add beam"));
        mDeleteButton = makeBarSwitch(QStringLiteral("-"), QStringLiteral("Delete selected beam"));
        bar->addWidget(mAddButton);
        bar->addWidget(mDeleteButton);
        connect(mAddButton, &COnOffButton::clicked, this, &CBeamSelection::updateAddBeam);
        connect(mDeleteButton, &COnOffButton::clicked, this, &CBeamSelection::updateDeleteBeam);
    }
    bar->addWidget(line(QFrame::VLine));
    if (mControls & LinkControl) {
        mLinkButton = makeBarSwitch(QStringLiteral("L"), QStringLiteral("Link Azimuth"));
        mLinkButton->setCheckable(true);
        bar->addWidget(mLinkButton);
        connect(mLinkButton, &COnOffButton::toggled, this, &CBeamSelection::updatePhiLinkStatus);
    }
    bar->addWidget(line(QFrame::VLine));
    if (mControls & SaveControl) {
        mSaveButton = makeFileButton(resourcePath + QStringLiteral("/saveFile.png"),
                                     QStringLiteral("create settings file"));
        bar->addWidget(mSaveButton);
        connect(mSaveButton, &QPushButton::clicked, this, &CBeamSelection::saveStateDialog);
    }
    if (mControls & LoadControl) {
        mLoadButton = makeFileButton(resourcePath + QStringLiteral("/loadFile.png"),
                                     QStringLiteral("load settings file"));
        bar->addWidget(mLoadButton);
        connect(mLoadButton, &QPushButton::clicked, this, &CBeamSelection::loadStateDialog);
    }
    bar->addStretch();
    layout->addLayout(bar);
}

void CBeamSelection::buildHeader(QBoxLayout* layout)
{
    // Indented and spaced as the rows, so that each header stands over its cells.
    auto* header = new QHBoxLayout;
    header->setSpacing(CBeamSelectionTrack::kCellSpacing);
    header->setContentsMargins(CBeamSelectionTrack::kRowIndent, 0, CBeamSelectionTrack::kRowIndent, 0);
    for (int column = 0; column < CBeamSelectionTrack::NumColumns; ++column) {
        if (!(mColumns & (1 << column)))
            continue;
        auto* label = new QLabel(QString::fromLatin1(kHeaders[column]), this);
        label->setAlignment(Qt::AlignCenter);
        QFont font = label->font();
        font.setPointSize(8);
        label->setFont(font);
        label->setFixedSize(kWidths[column], kHeaderHeight);
        header->addWidget(label);
    }
    header->addStretch();
    layout->addLayout(header);
}

QSize CBeamSelection::sizeHint() const { return minimumSize(); }

QSize CBeamSelection::minimumSizeHint() const
{
    if (mNumTracks == 0)
        return mEmptySize;
    return {mEmptySize.width(), mEmptySize.height() + mNumTracks * rowStep()};
}

int CBeamSelection::rowStep() const
{
    // Only asked with at least one row in place; all rows have the same height.
    return mTracks[0]->minimumSizeHint().height() + mTrackLayout->spacing();
}

void CBeamSelection::resizeByRows(int rows)
{
    resize(width(), height() + rows * rowStep());
}

float CBeamSelection::gain(int index) const
{
    return static_cast<float>(std::pow(10.0, 0.05 * mTracks[index]->volume()));
}

QColor CBeamSelection::newTrackColor() const
{
    if (mNewColor != QColor(255, 255, 255, 255))
        return mNewColor;
    // White asks for a colour of the generator, which is never seeded: every run gets
    // the same sequence.
    const int red = std::rand() % 256;
    const int green = std::rand() % 256;
    const int blue = std::rand() % 256;
    return QColor(red, green, blue, 255);
}

QStringList CBeamSelection::parametersOf(int patternIndex) const
{
    return patternIndex >= 0 && patternIndex < mParameters.size() ? mParameters[patternIndex] : QStringList();
}

void CBeamSelection::fillParameters(CBeamSelectionTrack* track, int patternIndex, const QString& parameterText)
{
    const QStringList parameters = parametersOf(patternIndex);
    track->fillParameterBox(parameters, beam_choice::closestParameter(parameters, parameterText));
}

void CBeamSelection::addBeam()
{
    if (mNumTracks >= mMaxTracks)
        return;
    CBeamSelectionTrack::Widths widths{};
    for (int column = 0; column < CBeamSelectionTrack::NumColumns; ++column)
        widths[column] = (mColumns & (1 << column)) ? kWidths[column] : 0;
    auto* track = new CBeamSelectionTrack(kRowHeight, widths, this);
    track->setId(mNumTracks);
    track->setColor(newTrackColor());
    track->setLabel(mNewLabel.isEmpty() ? QStringLiteral("beam ") + QString::number(mNumTracks + 1) : mNewLabel);
    track->setPhi(wrapDegrees(mNewPhi));
    track->setTheta(mNewTheta);
    const int pattern = beam_choice::patternIndex(mPatterns, mNewPattern);
    track->fillPatternBox(mPatterns, pattern);
    fillParameters(track, pattern, mNewParameter);
    track->setVolume(static_cast<float>(mNewVolume));
    track->setMute(mNewMute);
    connectTrack(track);
    mTracks[mNumTracks++] = track;
    mTrackLayout->addWidget(track);
    resizeByRows(1);
}

void CBeamSelection::connectTrack(CBeamSelectionTrack* track)
{
    using T = CBeamSelectionTrack;
    using S = CBeamSelection;
    connect(track, &T::trackClicked, this, &S::updateActiveBeamTrack);
    connect(track, &T::colorChanged, this, &S::beamTrackColorChanged);
    connect(track, &T::colorChanged, this, qOverload<int, QColor>(&S::updateDirtyFlag));
    connect(track, &T::labelChanged, this, &S::beamTrackLabelChanged);
    connect(track, &T::labelChanged, this, qOverload<int, QString>(&S::updateDirtyFlag));
    connect(track, &T::thetaChanged, this, &S::beamTrackThetaChanged);
    connect(track, &T::thetaChanged, this, qOverload<int, int>(&S::updateDirtyFlag));
    connect(track, &T::phiChanged, this, &S::beamTrackPhiChanged);
    connect(track, &T::phiChanged, this, qOverload<int, int>(&S::updateDirtyFlag));
    connect(track, &T::patternChanged, this, &S::updatePattern);
    connect(track, &T::patternChanged, this, qOverload<int, int>(&S::updateDirtyFlag));
    connect(track, &T::parameterChanged, this, &S::beamTrackParameterChanged);
    connect(track, &T::parameterChanged, this, qOverload<int, int>(&S::updateDirtyFlag));
    connect(track, &T::gainChanged, this, &S::beamTrackGainChanged);
    connect(track, &T::gainChanged, this, qOverload<int, float>(&S::updateDirtyFlag));
    connect(track, &T::muteChanged, this, &S::beamTrackMuteChanged);
    connect(track, &T::muteChanged, this, qOverload<int, bool>(&S::updateDirtyFlag));
}

void CBeamSelection::deleteBeam()
{
    if (!validIndex(mActiveTrack))
        return;
    CBeamSelectionTrack* gone = mTracks[mActiveTrack];
    mTrackLayout->removeWidget(gone);
    resizeByRows(-1);
    for (int id = mActiveTrack; id < mNumTracks - 1; ++id) {
        mTracks[id] = mTracks[id + 1];
        mTracks[id]->setId(id);
    }
    mTracks[mNumTracks - 1] = nullptr;
    delete gone; // closes its volume popup with it
    mActiveTrack = -1;
    --mNumTracks;
}

bool CBeamSelection::refusedWhileStreaming(const QString& text)
{
    if (mStreaming)
        CDialogSeam::message(this, QMessageBox::Information, kDialogTitle, text);
    return mStreaming;
}

void CBeamSelection::updateAddBeam()
{
    if (refusedWhileStreaming(QStringLiteral("You must stop streaming before adding/deleting a beam track.")))
        return;
    const int before = mNumTracks;
    addBeam();
    if (mNumTracks > before)
        emit beamTrackAdded(mNumTracks - 1);
}

void CBeamSelection::updateDeleteBeam()
{
    if (refusedWhileStreaming(QStringLiteral("You must stop streaming before adding/deleting a beam track.")))
        return;
    if (!validIndex(mActiveTrack)) {
        CDialogSeam::message(this, QMessageBox::Information, kDialogTitle, QStringLiteral("No beam track selected."));
        return;
    }
    const int id = mActiveTrack;
    deleteBeam();
    updateDeletedBeamTrack(id);
    emit beamTrackDeleted(id);
}

void CBeamSelection::updateDeletedBeamTrack(int id)
{
    // The row that moved into the gap takes over; after the last row, the new last one.
    setActiveBeamTrack(mNumTracks == 0 ? -1 : std::min(id, mNumTracks - 1));
}

void CBeamSelection::setActiveBeamTrack(int id)
{
    if (id < -1 || id >= mNumTracks)
        return;
    if (validIndex(mActiveTrack))
        mTracks[mActiveTrack]->setActive(false);
    mActiveTrack = id;
    if (validIndex(id))
        mTracks[id]->setActive(true);
}

void CBeamSelection::updateActiveBeamTrack(int id)
{
    if (validIndex(id))
        setActiveBeamTrack(id);
    emit activeBeamTrackChanged(mActiveTrack);
}

void CBeamSelection::updatePattern(int id, int patternIndex)
{
    CBeamSelectionTrack* track = mTracks[id];
    fillParameters(track, patternIndex, track->parameterText());
    emit beamTrackPatternChanged(id, patternIndex, track->parameterIndex());
}

void CBeamSelection::setPatternAndParameterLists(const QStringList& patternList,
                                                 const QList<QStringList>& parameterLists)
{
    mPatterns = patternList;
    mParameters = parameterLists;
    for (int id = 0; id < mNumTracks; ++id) {
        mTracks[id]->fillPatternBox(mPatterns, 0);
        mTracks[id]->fillParameterBox(parametersOf(0), 0);
    }
}

void CBeamSelection::setPhiLinkStatus(bool status)
{
    mPhiLink = status;
    if (mLinkButton)
        mLinkButton->setChecked(status);
    mDirty = true;
}

void CBeamSelection::setColor(int index, const QColor& color)
{
    if (!validIndex(index))
        return;
    mTracks[index]->setColor(color);
    mDirty = true;
}

void CBeamSelection::setLabel(int index, const QString& label)
{
    if (!validIndex(index))
        return;
    mTracks[index]->setLabel(label);
    mDirty = true;
}

void CBeamSelection::setTheta(int index, int angle)
{
    if (!validIndex(index))
        return;
    mTracks[index]->setTheta(angle);
    mDirty = true;
}

void CBeamSelection::setPhi(int index, int angle)
{
    if (!validIndex(index))
        return;
    if (mPhiLink) {
        // The caller has acted on this row already; every other row turns with it.
        const int delta = angle - mTracks[index]->phi();
        for (int j = 0; j < mNumTracks; ++j) {
            if (j == index)
                continue;
            const int phi = wrapDegrees(mTracks[j]->phi() + delta);
            mTracks[j]->setPhi(phi);
            emit beamTrackPhiChanged(j, phi);
        }
    }
    mTracks[index]->setPhi(wrapDegrees(angle));
    mDirty = true;
}

void CBeamSelection::setTheta(int angle)
{
    if (validIndex(mActiveTrack))
        setTheta(mActiveTrack, angle);
    mDirty = true;
}

void CBeamSelection::setPhi(int angle)
{
    if (validIndex(mActiveTrack))
        setPhi(mActiveTrack, angle);
    mDirty = true;
}

void CBeamSelection::setPatternIndex(int trackIndex, int patternIndex)
{
    if (!validIndex(trackIndex) || patternIndex < 0 || patternIndex >= mPatterns.size())
        return;
    // Like the user's choice, but silent: the parameter follows the rule of the closest one.
    CBeamSelectionTrack* track = mTracks[trackIndex];
    const QString parameter = track->parameterText();
    track->fillPatternBox(mPatterns, patternIndex);
    fillParameters(track, patternIndex, parameter);
    mDirty = true;
}

void CBeamSelection::setParameterIndex(int trackIndex, int parameterIndex)
{
    if (!validIndex(trackIndex))
        return;
    QComboBox* box = mTracks[trackIndex]->parameterBox();
    if (parameterIndex < 0 || parameterIndex >= box->count())
        return;
    const QSignalBlocker blocker(box);
    box->setCurrentIndex(parameterIndex);
    mDirty = true;
}

void CBeamSelection::setVolume(int index, float volume)
{
    if (!validIndex(index))
        return;
    mTracks[index]->setVolume(volume);
    mDirty = true;
}

void CBeamSelection::setMute(int index, bool mute)
{
    if (!validIndex(index))
        return;
    mTracks[index]->setMute(mute);
    mDirty = true;
}

void CBeamSelection::adoptFileName(const QString& fileName)
{
    const QFileInfo info(fileName);
    mFileName = fileName;
    mBaseName = info.baseName();
    mFilePath = info.absolutePath();
}

bool CBeamSelection::acceptedSuffix(const QString& fileName)
{
    if (CBeamSettings::hasSettingsSuffix(fileName))
        return true;
    CDialogSeam::message(this, QMessageBox::Warning, kDialogTitle,
                           CBeamSettings::describe(CBeamSettings::resultWrongSuffix));
    return false;
}

void CBeamSelection::saveStateDialog()
{
    const QString name = CDialogSeam::getSaveFileName(
        this, {tr("Save Current Settings"), mFileName, tr("Vantoria Settings Files (*.vts);;All Files (*)")});
    if (!name.isEmpty())
        saveCurrentState(name);
}

void CBeamSelection::saveCurrentState(const QString& fileName)
{
    if (!acceptedSuffix(fileName))
        return;
    adoptFileName(fileName);
    CBeamSettings settings;
    settings.phiLink = mPhiLink;
    for (int id = 0; id < mNumTracks; ++id) {
        const CBeamSelectionTrack* t = mTracks[id];
        settings.tracks.append({QVariant::fromValue(t->color()), t->label(), t->phi(), t->theta(), t->patternText(),
                                t->parameterText(), t->volume(), t->mute()});
    }
    const int result = settings.save(fileName);
    if (result != CBeamSettings::resultOk)
        CDialogSeam::message(this, QMessageBox::Warning, kDialogTitle, CBeamSettings::describe(result));
}

void CBeamSelection::loadStateDialog()
{
    if (refusedWhileStreaming(QStringLiteral("You must stop streaming before loading a configuration file.")))
        return;
    const QString name = CDialogSeam::getOpenFileName(
        this, {tr("open settings File"), mFilePath, tr("Vanto Ria Settings Files (*.vts);;All Files (*)")});
    if (!name.isEmpty())
        loadState(name);
}

void CBeamSelection::loadState(const QString& fileName)
{
    if (refusedWhileStreaming(QStringLiteral("You must stop streaming before loading a configuration file.")))
        return;
    if (!acceptedSuffix(fileName))
        return;
    // Read the whole file before touching the list: a file that can't be read leaves the
    // tracks as they are.
    CBeamSettings settings;
    const int result = CBeamSettings::load(fileName, settings, mMaxTracks);
    if (result != CBeamSettings::resultOk) {
        CDialogSeam::message(this, QMessageBox::Warning, kDialogTitle, CBeamSettings::describe(result));
        return;
    }
    adoptFileName(fileName);
    // Delete from the last row up, each as the user would, so the application hears of each.
    for (int id = mNumTracks - 1; id >= 0; --id) {
        setActiveBeamTrack(id);
        emit activeBeamTrackChanged(id);
        updateDeleteBeam();
    }
    setPhiLinkStatus(false);
    for (const CBeamTrackRecord& record : settings.tracks) {
        takeNewValues(record);
        updateAddBeam();
    }
    setPhiLinkStatus(settings.phiLink);
    mDirty = false;
    resetNewValues();
}

void CBeamSelection::takeNewValues(const CBeamTrackRecord& record)
{
    // A colour the file left out stays invalid and paints black.
    mNewColor = record.color.value<QColor>();
    mNewLabel = record.label;
    mNewPhi = record.phi;
    mNewTheta = record.theta;
    mNewPattern = record.pattern;
    mNewParameter = record.parameter;
    mNewVolume = record.volume;
    mNewMute = record.mute;
}

void CBeamSelection::resetNewValues()
{
    mNewColor = QColor(Qt::white);
    mNewLabel.clear();
    mNewPhi = 0;
    mNewTheta = 90;
    mNewPattern = QStringLiteral("omni");
    mNewParameter = QStringLiteral("0");
    mNewVolume = 0.0;
    mNewMute = false;
}
