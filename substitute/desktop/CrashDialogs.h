// What the user is asked when the add-in takes the window down.
#pragma once

#include <QDialog>
#include <QString>

class QLabel;

namespace substitute {

struct CrashRecord;

// Tells that a call of the add-in does not return. It is accepted when the user wants the call
// ended, and cannot be rejected.
class HangDialog : public QDialog {
 public:
  // `record` outlives the dialog.
  explicit HangDialog(const CrashRecord& record);

  void reject() override {}
};

// Shows the report on the end of the window. It is accepted when the user wants a new one.
class ReportDialog : public QDialog {
 public:
  // `played` is the file with the scenario that led there.
  ReportDialog(const QString& report, const QString& played);

 private:
  void save();

  QString played_;
  QLabel* message_;
};

}  // namespace substitute
