#include "substitute/core/Counted.h"

#include <unordered_set>

namespace substitute {

namespace {

// Never destroyed: the add-in may hand things back while the process ends.
Ledger& book() {
  static auto* const book = new Ledger;
  return *book;
}

std::unordered_set<char*>& lentTexts() {
  static auto* const texts = new std::unordered_set<char*>;
  return *texts;
}

}  // namespace

const Ledger& ledger() {
  return book();
}

char* lendText(const std::string& text) {
  char* const copy = new char[text.size() + 1];
  std::memcpy(copy, text.c_str(), text.size() + 1);
  lentTexts().insert(copy);
  ++book().texts;
  return copy;
}

Counted::Counted(std::string className, std::string id)
    : className_(std::move(className)), id_(std::move(id)) {
  ++book().objects;
}

Counted::~Counted() {
  --book().objects;
}

void Counted::lend() const {
  ++count_;
  ++lent_;
  ++book().references;
}

void Counted::takeBack() const {
  if (lent_ == 0) {
    ++book().badReleases;
    return;
  }
  --lent_;
  --book().references;
  drop();
}

void Counted::drop() const {
  if (--count_ == 0) delete this;
}

}  // namespace substitute

void adsk::core::DeallocateArrayInternal(char* text) {
  if (substitute::lentTexts().erase(text) == 0) {
    ++substitute::book().badTexts;
    return;
  }
  --substitute::book().texts;
  delete[] text;
}
