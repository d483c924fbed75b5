#include "substitute/desktop/HostToolbar.h"

#include <QFileInfo>
#include <QLabel>
#include <QToolButton>

#include "substitute/api/HostObjects.h"
#include "substitute/desktop/Theme.h"

namespace substitute {

namespace {

// The host's own control; its command is the host's business, no definition stands for it.
constexpr const char* helpControl = "HelpGroupCommand";
constexpr int pictureSize = 32;

QString tooltipOf(const DefinitionObject& definition) {
  return QStringLiteral("<p><b>%1</b></p><p>%2</p>")
      .arg(QString::fromStdString(definition.name).toHtmlEscaped(),
           QString::fromStdString(definition.tooltip).toHtmlEscaped());
}

}  // namespace

QIcon resourceIcon(const QString& folder) {
  // One file and its "@2x" alone: given all sizes, an icon would take the larger picture in place
  // of the one that is drawn for this size at twice the scale.
  for (const int size : {pictureSize, 64, 16}) {
    const QString file = QStringLiteral("%1/%2x%2.png").arg(folder).arg(size);
    if (QFileInfo::exists(file)) return QIcon(file);
  }
  return {};
}

HostToolbar::HostToolbar(const ToolbarObject& toolbar, const DefinitionsObject& definitions,
                         const QString& addinFolder, QWidget* parent)
    : QToolBar(QString::fromStdString(toolbar.id()), parent) {
  setObjectName("toolbar:" + QString::fromStdString(toolbar.id()));
  setMovable(false);
  setIconSize({pictureSize, pictureSize});
  auto* const spring = new QWidget;
  spring->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  addWidget(spring);
  for (const auto& control : toolbar.controls->all.items()) {
    const QString id = QString::fromStdString(control->id());
    if (!control->showsCommand()) {
      auto* const label = new QLabel(id);
      label->setObjectName("control:" + id);
      addWidget(label);
      continue;
    }
    auto* const button = new QToolButton;
    button->setObjectName("control:" + id);
    const DefinitionObject* const definition = definitions.all.find(control->id());
    if (definition != nullptr) {
      const QIcon icon =
          resourceIcon(addinFolder + '/' + QString::fromStdString(definition->resourceFolder));
      // The style sets the name close by the icon; a thin space keeps them apart.
      button->setText(QChar(0x2009) + QString::fromStdString(definition->name));
      button->setToolTip(tooltipOf(*definition));
      button->setIcon(icon);
      button->setToolButtonStyle(icon.isNull() ? Qt::ToolButtonTextOnly
                                               : Qt::ToolButtonTextBesideIcon);
    } else if (id == helpControl) {
      button->setIcon(drawnIcon(Drawing::help, palette().color(QPalette::WindowText)));
      button->setToolTip(tr("Help"));
      connect(button, &QToolButton::clicked, this, &HostToolbar::helpRequested);
    } else {
      button->setText(id);
      button->setToolTip(tr("A control without a command"));
    }
    if (id != helpControl) {
      connect(button, &QToolButton::clicked, this, [this, id] { Q_EMIT pressed(id); });
    }
    addWidget(button);
  }
}

}  // namespace substitute
