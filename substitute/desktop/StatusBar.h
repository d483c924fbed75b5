// The status bar of the window.
#pragma once

#include <QStatusBar>

#include "substitute/api/Trace.h"

class QLabel;

namespace substitute {

class ElidedLabel;
class Host;

// Shows what came of the last command, the weightiest message of it, and the host's values.
class StatusBar : public QStatusBar {
 public:
  // The weights of a message. All but plain ones are read out by a screen reader.
  enum Weight { none, plain, notable, failure };

  explicit StatusBar(QWidget* parent = nullptr);

  // Forgets the message, since another command begins.
  void clear();

  // Shows a message, unless a weightier one is shown.
  void tell(const QString& message, Weight weight);

  // Shows a message about an entry of the trace, if it deserves one.
  void tellOf(const Json& entry);

  void showValues(const Host& host);

 private:
  Weight weight_ = none;
  ElidedLabel* message_;
  QLabel* values_;
};

}  // namespace substitute
