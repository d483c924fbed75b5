// Strings that may be longer than the place where they are shown.
#pragma once

#include <QLabel>

namespace substitute {

// `text` as a tooltip shows it: as it stands, never taken for HTML, and broken into lines even
// where it has no spaces.
QString toTooltip(const QString& text);

// `text` as a label that wraps its lines shows it in a narrow pane: some eight lines, shortened in
// the middle, and broken even where it has no spaces.
QString shortenedForLabel(const QString& text);

// `text` as the text of an action or button shows it in `width` pixels of `font`: on one line,
// shortened at its end, with no letter taken for a mnemonic.
QString elidedForButton(const QString& text, const QFont& font, int width);

// A label that shows plain text on one line, shortened to its place. What is cut off is in its
// tooltip and is copied by the keyboard; while it is, the label takes the focus.
class ElidedLabel : public QLabel {
  Q_OBJECT

 public:
  // `mode` says where a string is shortened.
  explicit ElidedLabel(Qt::TextElideMode mode = Qt::ElideRight, QWidget* parent = nullptr);

  // Use this in place of setText.
  void setFullText(const QString& text);

  // All of it, and what can be seen.
  const QString& fullText() const { return fullText_; }
  QString elidedText() const;

  QSize minimumSizeHint() const override;

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  void updateElision();

  Qt::TextElideMode mode_;
  QString fullText_;
};

}  // namespace substitute
