#include "substitute/desktop/ElidedLabel.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QStylePainter>

namespace substitute {

namespace {

QString toOneLine(QString text) {
  for (QChar& letter : text) {
    if (letter.category() == QChar::Other_Control || letter == QChar::LineSeparator ||
        letter == QChar::ParagraphSeparator) {
      letter = ' ';
    }
  }
  return text;
}

// `text` with places in every long word where a line may be broken.
QString withLineBreaks(const QString& text) {
  constexpr int longestWord = 32;
  QString breakable;
  int run = 0;
  for (const QChar letter : text) {
    run = letter.isSpace() ? 0 : run + 1;
    // A zero-width space, where a line may be broken; never inside a character.
    if (run > longestWord && !letter.isLowSurrogate() && !letter.isMark()) {
      breakable += QChar(0x200B);
      run = 1;
    }
    breakable += letter;
  }
  return breakable;
}

}  // namespace

QString toTooltip(const QString& text) {
  return QStringLiteral("<p>%1</p>")
      .arg(withLineBreaks(text).toHtmlEscaped().replace('\n', "<br>"));
}

QString shortenedForLabel(const QString& text) {
  constexpr int longest = 240;
  if (text.size() <= longest) return withLineBreaks(text);
  return withLineBreaks(text.left(longest / 2) + QChar(0x2026) + text.right(longest / 2));
}

QString elidedForButton(const QString& text, const QFont& font, int width) {
  return QFontMetrics(font).elidedText(toOneLine(text), Qt::ElideRight, width).replace('&', "&&");
}

ElidedLabel::ElidedLabel(Qt::TextElideMode mode, QWidget* parent) : QLabel(parent), mode_(mode) {
  setTextFormat(Qt::PlainText);
}

void ElidedLabel::setFullText(const QString& text) {
  fullText_ = text;
  setText(toOneLine(text));
  updateElision();
}

QString ElidedLabel::elidedText() const {
  return fontMetrics().elidedText(text(), mode_, contentsRect().width());
}

QSize ElidedLabel::minimumSizeHint() const {
  const int frame = width() - contentsRect().width();
  const int least = fontMetrics().averageCharWidth() * 6 + frame;
  return {std::min(least, sizeHint().width()), sizeHint().height()};
}

void ElidedLabel::keyPressEvent(QKeyEvent* event) {
  if (event->matches(QKeySequence::Copy)) {
    QApplication::clipboard()->setText(fullText_);
  } else {
    QLabel::keyPressEvent(event);
  }
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
  QStylePainter painter(this);
  painter.drawItemText(contentsRect(), static_cast<int>(alignment()), palette(), isEnabled(),
                       elidedText(), foregroundRole());
}

void ElidedLabel::resizeEvent(QResizeEvent* event) {
  QLabel::resizeEvent(event);
  updateElision();
}

void ElidedLabel::updateElision() {
  const bool shortened = elidedText() != fullText_;
  setToolTip(shortened ? toTooltip(fullText_) : QString());
  setFocusPolicy(shortened ? Qt::TabFocus : Qt::NoFocus);
}

}  // namespace substitute
