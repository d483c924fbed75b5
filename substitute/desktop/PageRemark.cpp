#include "substitute/desktop/PageRemark.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

#include "substitute/desktop/Accessibility.h"
#include "substitute/desktop/ElidedLabel.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

PageRemark::PageRemark(QWidget* parent) : QWidget(parent), text_(new QLabel) {
  setObjectName("remark");
  setAttribute(Qt::WA_StyledBackground);
  auto* const row = new QHBoxLayout(this);
  row->setContentsMargins(12, 6, 6, 6);
  text_->setObjectName("remarkText");
  text_->setTextFormat(Qt::PlainText);
  text_->setWordWrap(true);
  // No word widens the palette.
  text_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
  text_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  text_->setFocusPolicy(Qt::StrongFocus);
  row->addWidget(text_, 1);
  auto* const close = new QToolButton;
  close->setObjectName("closeRemark");
  close->setIcon(drawnIcon(Drawing::cross, palette().color(QPalette::WindowText)));
  close->setToolTip(tr("Dismiss"));
  close->setAccessibleName(tr("Dismiss the remark about the page"));
  close->setFocusPolicy(Qt::StrongFocus);
  connect(close, &QToolButton::clicked, this, &PageRemark::clear);
  row->addWidget(close, 0, Qt::AlignTop);
  hide();
}

void PageRemark::tell(const QString& text) {
  ++told_;
  const QString whole = told_ == 1 ? text : tr("%1 (remark %2)").arg(text).arg(told_);
  text_->setText(shortenedToLines(whole));
  text_->setToolTip(wholeAsTooltip(whole));
  text_->setAccessibleName(whole);
  show();
  announce(*text_);
}

void PageRemark::clear() {
  told_ = 0;
  text_->clear();
  hide();
}

}  // namespace substitute
