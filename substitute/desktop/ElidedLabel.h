// Strings that may be longer than the space where they are shown.
#pragma once

#include <QLabel>

namespace substitute {

// `text` as rich text for a tooltip: HTML in it is escaped, and long words may be broken.
QString toTooltip(const QString& text);

// `text` for a label that wraps its lines: at most 241 characters, shortened in the middle. Long
// words may be broken.
QString shortenedForLabel(const QString& text);

// `text` for an action or a button: on one line, elided at its end to `width` pixels in `font`,
// without mnemonics.
QString elidedForButton(const QString& text, const QFont& font, int width);

// A label that shows plain text on one line, elided to its width. While the text is elided, the
// tooltip has all of it, and the label takes the focus so that Copy can copy all of it.
class ElidedLabel : public QLabel {
  Q_OBJECT

 public:
  // `mode` says where the text is elided.
  explicit ElidedLabel(Qt::TextElideMode mode = Qt::ElideRight, QWidget* parent = nullptr);

  // Use this in place of setText.
  void setFullText(const QString& text);

  // The text as set, and as it is shown.
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
