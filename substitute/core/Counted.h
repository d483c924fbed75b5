// Counted host objects and host text: what is alive, and what the add-in holds of it.
#pragma once

#include <Core/CoreAll.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace substitute {

// What the library has counted since the process began. It outlives every host.
struct Ledger {
  long objects = 0;     // host objects alive
  long references = 0;  // counted references that the add-in holds
  long texts = 0;       // texts that the add-in has not handed back
  // What the add-in did against the rules: references dropped and texts handed back that it did not
  // hold. Neither is carried out.
  long badReleases = 0;
  long badTexts = 0;
};

// The one ledger of the process.
const Ledger& ledger();

// A copy of `text` in the host's memory, counted until it is handed back.
char* lendText(const std::string& text);

// What is the same in every host object: its name, its count, and whether it still stands for
// anything. A new object holds one reference, its maker's.
class Counted {
 public:
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  // The class, and the id after a colon where there is one: "Palette:teachPalete".
  std::string name() const { return id_.empty() ? className_ : className_ + ":" + id_; }
  const std::string& className() const { return className_; }
  const std::string& id() const { return id_; }

  // False once the host has deleted what the object stands for.
  bool valid() const { return valid_; }
  void invalidate() { valid_ = false; }

  // One more reference, for the add-in.
  void lend() const;

  // One reference of the add-in's less; the object may be gone afterwards. Dropping a reference
  // that the add-in does not hold is noted in the ledger and not done.
  void takeBack() const;

  // One reference of the host's less; the object may be gone afterwards.
  void drop() const;

 protected:
  Counted(std::string className, std::string id);
  virtual ~Counted();

 private:
  std::string className_;
  std::string id_;
  bool valid_ = true;
  mutable long count_ = 1;
  mutable long lent_ = 0;
};

// A reference that the host itself holds.
struct Drop {
  void operator()(const Counted* object) const { object->drop(); }
};
template <class T>
using Held = std::unique_ptr<T, Drop>;

template <class T, class... Arguments>
Held<T> make(Arguments&&... arguments) {
  return Held<T>(new T(std::forward<Arguments>(arguments)...));
}

}  // namespace substitute
