#include "PageFrame.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "BackgroundColor.h"
#include "Bundle.h"
#include "Const.h"

namespace vela {

namespace {

const QColor kPageColor(0xff, 0xff, 0xff);
const QColor kFooterColor(0xf3, 0xf5, 0xf7);
const QColor kRuleColor(0xdd, 0xe1, 0xe6);

// Accent taken from the logo's teal.
const char* const kPrimaryButtonStyle =
    "QPushButton { background: #13928c; color: white; border: 1px solid #0f7f7a;"
    " border-radius: 6px; padding: 6px 18px; font-size: 14px; font-weight: 600; }"
    "QPushButton:hover { background: #10847f; }"
    "QPushButton:pressed, QPushButton:checked { background: #0c6c68; }"
    "QPushButton:focus { border: 2px solid #0b5e5a; }"
    "QPushButton:disabled { background: #a9d6d3; border-color: #a9d6d3; color: #f4fbfa; }";
const char* const kSecondaryButtonStyle =
    "QPushButton { background: white; color: #1f2933; border: 1px solid #c4cad2;"
    " border-radius: 6px; padding: 6px 18px; font-size: 14px; }"
    "QPushButton:hover { background: #f4f6f8; }"
    "QPushButton:pressed, QPushButton:checked { background: #e4e8ec; }"
    "QPushButton:focus { border: 2px solid #13928c; }"
    "QPushButton:disabled { color: #a0a8b2; border-color: #dde1e6; background: #f7f8f9; }";
const char* const kProgressBarStyle =
    "QProgressBar { background: #e6eaee; border: none; border-radius: 5px; }"
    "QProgressBar::chunk { border-radius: 5px; background: qlineargradient(x1:0, y1:0, x2:1,"
    " y2:0, stop:0 #2bb3a3, stop:1 #2f6db3); }";

constexpr int kButtonMinimumWidth = 120;

}  // namespace

PageFrame::PageFrame(QWidget* page) : page_(page) {
    setBackgroundColor(page, kPageColor);
    auto* outer = new QVBoxLayout(page);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);

    auto* body = new QWidget(page);
    column_ = new QVBoxLayout(body);
    column_->setContentsMargins(48, 28, 48, 20);
    column_->setSpacing(10);
    outer->addWidget(body, 1);

    auto* rule = new QFrame(page);
    rule->setFixedHeight(1);
    setBackgroundColor(rule, kRuleColor);
    outer->addWidget(rule);

    footer_ = new QWidget(page);
    setBackgroundColor(footer_, kFooterColor);
    auto* bar = new QHBoxLayout(footer_);
    bar->setContentsMargins(24, 14, 24, 14);
    bar->setSpacing(10);
    version_ = new QLabel(footer_);
    version_->setStyleSheet(QStringLiteral("color: #6b7682; font-size: 12px;"));
    bar->addWidget(version_);
    bar->addStretch(1);
    outer->addWidget(footer_);
}

QString PageFrame::versionText() {
    return QStringLiteral("ver.") +
           QString::fromStdString(Const::getCurrentAppVersion().value_or(""));
}

QLabel* PageFrame::addLogo() {
    QLabel* logo = newImageView(page_, QSize(120, 120));
    column_->addStretch(1);
    column_->addWidget(logo, 0, Qt::AlignHCenter);
    column_->addSpacing(14);
    return logo;
}

void PageFrame::closeColumn() {
    column_->addStretch(1);
}

std::tuple<QLabel*, QLabel*, QLabel*> PageFrame::addTextColumn(bool withBody) {
    QLabel* headline = newHeadline(page_);
    QLabel* body = withBody ? newBodyText(page_) : nullptr;
    QLabel* logo = addLogo();
    column_->addWidget(headline);
    if (body != nullptr) {
        column_->addWidget(body);
    }
    closeColumn();
    return {logo, headline, body};
}

QPushButton* PageFrame::addButton(bool primary) {
    auto* button = new QPushButton(footer_);
    button->setMinimumWidth(kButtonMinimumWidth);
    button->setMinimumHeight(34);
    button->setCursor(Qt::PointingHandCursor);
    button->setStyleSheet(QLatin1String(primary ? kPrimaryButtonStyle : kSecondaryButtonStyle));
    if (primary) {
        button->setDefault(true);
        page_->setFocusProxy(button);
    }
    footer_->layout()->addWidget(button);
    return button;
}

QLabel* PageFrame::newImageView(QWidget* parent, QSize box) {
    auto* view = new QLabel(parent);
    view->setAlignment(Qt::AlignCenter);
    view->setFixedSize(box);
    return view;
}

void PageFrame::setImageNamed(QLabel* view, const char* name) {
    std::optional<std::string> path = Bundle::mainBundle().pathForResource(name, "png");
    QPixmap image(path ? QString::fromStdString(*path) : QString());
    if (image.isNull()) {
        view->clear();
        return;
    }
    const qreal ratio = view->devicePixelRatioF();
    QPixmap scaled =
        image.scaled(view->size() * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(ratio);
    view->setPixmap(scaled);
}

QLabel* PageFrame::newHeadline(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setStyleSheet(QStringLiteral("color: #1f2933; font-size: 22px; font-weight: 600;"));
    return label;
}

QLabel* PageFrame::newBodyText(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignCenter);
    label->setWordWrap(true);
    label->setStyleSheet(QStringLiteral("color: #52606d; font-size: 14px;"));
    return label;
}

QProgressBar* PageFrame::newProgressBar(QWidget* parent) {
    auto* bar = new QProgressBar(parent);
    bar->setTextVisible(false);
    bar->setFixedHeight(10);
    bar->setStyleSheet(QLatin1String(kProgressBarStyle));
    return bar;
}

}  // namespace vela
