#include "substitute/desktop/WarningBar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

WarningBar::WarningBar(QWidget* parent) : QWidget(parent), text_(new QLabel) {
  setObjectName("warningBar");
  setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(this);
  row->setContentsMargins(12, 6, 6, 6);
  text_->setObjectName("warningText");
  text_->setTextFormat(Qt::PlainText);
  text_->setWordWrap(true);
  // A long word does not widen the palette.
  text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  text_->setFocusPolicy(Qt::StrongFocus);
  row->addWidget(text_, 1);
  auto* const close = new QToolButton;
  close->setObjectName("dismissWarning");
  close->setIcon(drawnIcon(Drawing::cross, palette().color(QPalette::WindowText)));
  close->setToolTip(tr("Dismiss"));
  close->setAccessibleName(tr("Dismiss the warning about the page"));
  close->setFocusPolicy(Qt::StrongFocus);
  connect(close, &QToolButton::clicked, this, &WarningBar::clear);
  row->addWidget(close, 0, Qt::AlignTop);
  hide();
}

void WarningBar::warn(const QString& text) {
  ++count_;
  const QString whole = count_ == 1 ? text : tr("%1 (warning %2)").arg(text).arg(count_);
  text_->setText(shortenedForLabel(whole));
  text_->setToolTip(toTooltip(whole));
  text_->setAccessibleName(whole);
  show();
  announce(*text_);
}

void WarningBar::clear() {
  count_ = 0;
  text_->clear();
  hide();
}

}  // namespace substitute
