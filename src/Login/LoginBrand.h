#pragma once

#include <QWidget>

namespace parlowen {

/// The coloured panel of the sign-in page: the logo, the product's name, what it does, and a picture of a voice.
class LoginBrand : public QWidget {
    Q_OBJECT
public:
    explicit LoginBrand(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void addLine(const QString& text, int size, bool bold);
};

/// The style sheets of the sign-in page.
namespace loginStyle {
QString field();
QString areaButton();
QString inlineButton();
QString link();
QString primaryButton();
QString secondaryButton();
} // namespace loginStyle

} // namespace parlowen
