#include "substitute/desktop/Widgets.h"

#include <QDockWidget>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStylePainter>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

#include "substitute/desktop/Accessibility.h"

namespace substitute {

namespace {

// `text` with a zero-width space, where a line may be broken, after every 32 characters of a word.
QString withLineBreaks(QString text) {
  static const QRegularExpression longWord(R"(((?:\S\p{M}*+){32})(?=\S))");  // with combining marks
  return text.replace(longWord, "\\1\u200B");
}

QFont smallFixedFont() {
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPointSizeF(font.pointSizeF() - 1);  // for the long names of the calls
  return font;
}

}  // namespace

QString toTooltip(const QString& text) {
  return "<p>" + withLineBreaks(text).toHtmlEscaped().replace('\n', "<br>") + "</p>";
}

QString saveFile(const QString& what, const QString& path, const QByteArray& bytes,
                 const QString& note) {
  QSaveFile file(path);
  if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit()) {
    return QLabel::tr("Saved in %1%2.").arg(QFileInfo(path).fileName(), note);
  }
  return QLabel::tr("%1 cannot be written to %2: %3.").arg(what, path, file.errorString());
}

void setUpSentence(QLabel& label) {
  label.setTextFormat(Qt::PlainText);
  label.setWordWrap(true);
  label.setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void showSentence(QLabel& label, const QString& sentence) {
  constexpr qsizetype half = 120;
  const bool isLong = sentence.size() > 2 * half;
  label.setText(
      withLineBreaks(isLong ? sentence.left(half) + "…" + sentence.right(half) : sentence));
  label.setToolTip(toTooltip(sentence));
  label.setAccessibleName(sentence);
  announce(label);
}

QPlainTextEdit* readOnlyText(const char* name, const QString& accessibleName) {
  auto* const text = new QPlainTextEdit;
  text->setObjectName(name);
  text->setAccessibleName(accessibleName);
  text->setReadOnly(true);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  text->setTabChangesFocus(true);
  text->setFrameShape(QFrame::NoFrame);
  text->setFont(smallFixedFont());
  return text;
}

QVBoxLayout* makeColumn(QWidget& body) {
  auto* const column = new QVBoxLayout(&body);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  return column;
}

QToolButton* glyphButton(const char* glyph, const char* name, const QString& tip) {
  auto* const button = new QToolButton;
  button->setObjectName(name);
  button->setText(QString::fromUtf8(glyph));
  button->setToolTip(tip);
  button->setAccessibleName(tip);
  button->setFocusPolicy(Qt::StrongFocus);
  return button;
}

void ElidedLabel::setFullText(const QString& text) {
  fullText_ = text;
  setText(text.simplified());
  setToolTip(toTooltip(text));
}

QString ElidedLabel::elidedText() const {
  return fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width());
}

QSize ElidedLabel::minimumSizeHint() const {
  const QSize whole = QLabel::minimumSizeHint();
  return whole.boundedTo({fontMetrics().averageCharWidth() * 6, whole.height()});
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
  QStylePainter(this).drawItemText(contentsRect(), static_cast<int>(alignment()), palette(),
                                   isEnabled(), elidedText(), foregroundRole());
}

void setTitleBar(QDockWidget& pane, const QString& closeTip, const QList<QWidget*>& parts,
                 const QList<QToolButton*>& buttons) {
  auto* const bar = new QWidget;
  bar->setObjectName("titleBar");
  bar->setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(bar);
  row->setContentsMargins(12, 4, 6, 4);
  auto* const title = new ElidedLabel;
  title->setObjectName("title");
  title->setFullText(pane.windowTitle());
  QObject::connect(&pane, &QWidget::windowTitleChanged, title, &ElidedLabel::setFullText);
  row->addWidget(title);
  for (QWidget* const part : parts) row->addWidget(part);
  row->addStretch();
  for (QToolButton* const button : buttons) row->addWidget(button);
  QToolButton* const close = glyphButton("✕", "close", closeTip);
  QObject::connect(close, &QToolButton::clicked, &pane, &QWidget::close);
  row->addWidget(close);
  pane.setTitleBarWidget(bar);
}

QTreeView* lineList(const char* name, const QString& accessibleName, QAbstractItemModel* model) {
  auto* const list = new QTreeView;
  list->setObjectName(name);
  list->setAccessibleName(accessibleName);
  list->setModel(model);
  list->setRootIsDecorated(false);
  list->setUniformRowHeights(true);
  list->setEditTriggers(QTreeView::NoEditTriggers);
  list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  list->setAllColumnsShowFocus(true);
  list->setFont(smallFixedFont());
  list->setHeaderHidden(true);
  list->header()->resizeSection(0, list->fontMetrics().horizontalAdvance("✗ 00000"));
  return list;
}

}  // namespace substitute
