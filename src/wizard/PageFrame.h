#pragma once

#include <QSize>
#include <QString>

#include <tuple>

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;
class QWidget;

namespace vela {

/// The layout every page shares, standing in for the pages' scenes in a storyboard: a white
/// area with a centred column of content, over a footer bar that holds the version at the left
/// and the page's buttons at the right.
class PageFrame {
public:
    /// Lays `page` out; the page's widgets are then added through the operations below.
    explicit PageFrame(QWidget* page);

    /// The centred column; widgets are added top to bottom, vertically centred as a group.
    QVBoxLayout* column() const { return column_; }
    QLabel* versionLabel() const { return version_; }
    /// Opens the column with the product logo, the top of every page but the tutorial; the
    /// page adds its texts below and closes the column with closeColumn().
    QLabel* addLogo();
    void closeColumn();
    /// The whole column of a page of text: the logo, a headline and, with `withBody`, a text
    /// below it, then closed. Returns the logo, the headline and the text (null without).
    std::tuple<QLabel*, QLabel*, QLabel*> addTextColumn(bool withBody);
    /// A new button at the right end of the footer. The primary one is drawn in the accent
    /// colour and pressed by Return.
    QPushButton* addButton(bool primary);

    /// An image view showing a picture scaled to fit `box` (set with setImageNamed).
    static QLabel* newImageView(QWidget* parent, QSize box);
    /// Sets the bundle's image resource `name` (a PNG) into `view`, scaled into its box.
    static void setImageNamed(QLabel* view, const char* name);
    /// "ver.<version>" of the running installer, the text of every page's version label.
    static QString versionText();
    static QLabel* newHeadline(QWidget* parent);
    static QLabel* newBodyText(QWidget* parent);
    static QProgressBar* newProgressBar(QWidget* parent);

private:
    QWidget* page_;
    QVBoxLayout* column_;
    QWidget* footer_;
    QLabel* version_;
};

}  // namespace vela
