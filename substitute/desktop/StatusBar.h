// The status bar of the window.
#pragma once

#include <QStatusBar>

#include "substitute/api/Trace.h"

class QLabel;

namespace substitute {

class ElidedLabel;
class Host;

// Shows one message and the host's values, each with its name. An important message stays until the
// next important one.
class StatusBar : public QStatusBar {
  Q_OBJECT

 public:
  explicit StatusBar(QWidget* parent = nullptr);

  // Shows a message about an entry of the trace, if it deserves one.
  void onTraceEntry(const Json& entry);

  // Shows an important message. A screen reader reads it out.
  void showImportant(const QString& message);

  // The full text of the message; empty when there has been none.
  const QString& message() const;

  void showValues(const Host& host, bool addinRuns);

 private:
  void showMinor(const QString& message);

  bool showsImportant_ = false;
  ElidedLabel* message_;
  ElidedLabel* addin_;
  ElidedLabel* starts_;
  QLabel* network_;
  ElidedLabel* language_;
  ElidedLabel* entitlement_;
};

}  // namespace substitute
