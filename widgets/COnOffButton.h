#pragma once
// The round coloured switch: a checkable push button painted as a pill or disc in one of
// four colour schemes, one for the checked and one for the unchecked state.

#include <QLinearGradient>
#include <QPushButton>

class COnOffButton : public QPushButton {
    Q_OBJECT
public:
    enum Scheme { Red = 0, Green = 1, Yellow = 2, Grey = 3 };

    explicit COnOffButton(QWidget* parent = nullptr);

    // A scheme number above 3 leaves that state's colours as they are.
    void setSchemes(int onScheme, int offScheme);
    void setTexts(const QString& onText, const QString& offText);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString mOnText;
    QString mOffText;
    QLinearGradient mOnGradient;
    QLinearGradient mOnDisabledGradient;
    QLinearGradient mOffGradient;
    QLinearGradient mOffDisabledGradient;
};
