// The small widgets that several parts of the window are made of, strings for them, and saving a
// file.
#pragma once

#include <QLabel>

class QAbstractItemModel;
class QDockWidget;
class QPlainTextEdit;
class QToolButton;
class QTreeView;
class QVBoxLayout;

namespace substitute {

// `text` as rich text for a tooltip: HTML in it is escaped, and long words may be broken.
QString toTooltip(const QString& text);

// Writes `bytes` to the file `path`. Returns a sentence: where they were saved, with `note`, or why
// `what` cannot be written there.
QString saveFile(const QString& what, const QString& path, const QByteArray& bytes,
                 const QString& note = {});

// A label for a sentence that may be long: it wraps its lines, and does not widen its parent.
// showSentence() shows at most 241 characters, and all of it in the tooltip and to a screen reader,
// which reads it out at once.
void setUpSentence(QLabel& label);
void showSentence(QLabel& label, const QString& sentence);

// A text that is read and copied, in the small fixed-width font of the lists. The caller owns it.
QPlainTextEdit* readOnlyText(const char* name, const QString& accessibleName);

// A column for the parts of `body`, without space around or between them.
QVBoxLayout* makeColumn(QWidget& body);

// A button that shows one character, with `tip` as its tooltip and its accessible name. The caller
// owns it.
QToolButton* glyphButton(const char* glyph, const char* name, const QString& tip);

// A label that shows plain text on one line, elided to its width. Its tooltip has all of it.
class ElidedLabel : public QLabel {
 public:
  ElidedLabel() { setTextFormat(Qt::PlainText); }

  // Use this in place of setText.
  void setFullText(const QString& text);

  const QString& fullText() const { return fullText_; }
  QString elidedText() const;

  QSize minimumSizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QString fullText_;
};

// Gives `pane` a title bar in place of the style's own, whose icons a dark theme would hide: the
// title, then `parts`, and at the end `buttons` and the button "close", with the tooltip
// `closeTip`. `pane` owns the bar, which owns its parts.
void setTitleBar(QDockWidget& pane, const QString& closeTip, const QList<QWidget*>& parts,
                 const QList<QToolButton*>& buttons = {});

// A list of lines with a margin, as an editor has: the two columns of `model`. A line that is too
// long is elided. The caller owns it.
QTreeView* lineList(const char* name, const QString& accessibleName, QAbstractItemModel* model);

}  // namespace substitute
