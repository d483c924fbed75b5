// The calls as code: how a line is spelled.
#include "substitute/driver/Calls.h"

#include <gtest/gtest.h>

namespace {

using namespace substitute;

constexpr CallForm shortened = CallForm::shortened;
constexpr CallForm full = CallForm::full;
constexpr CallForm spread = CallForm::spread;

}  // namespace

TEST(Calls, AreSpelledAsCode) {
  const struct {
    CallForm form;
    const char* entry;  // of the trace
    const char* code;
  } calls[] = {
      {full, R"({"op":"Palettes.itemById","on":"Palettes","args":["a\n\u009b"],"result":null})",
       R"(Palettes.itemById("a\n\u009b") = null)"},
      {full, R"({"op":"Palette.isVisible","on":"Palette:a b","args":[true],"result":true})",
       "Palette:a b.isVisible(true) = true"},
      {full, R"({"op":"Base.isValid","on":"CommandControl:a","args":[],"result":true})",
       "CommandControl:a.isValid() = true"},
      {full, R"({"op":"HTMLEventArgs.data","on":"HTMLEventArgs","args":[],"result":"Palette:a"})",
       R"(HTMLEventArgs.data() = "Palette:a")"},
      {full, R"({"op":"Application.executeTextCommand","args":["x"],"result":null})",
       R"(Application.executeTextCommand("x") = null)"},
      {full, R"({"op":"HTMLEvent.add","on":"HTMLEvent","args":["Own<int>"],"result":false})",
       "HTMLEvent.add(Own<int>) = false"},
      {full,
       R"({"op":"ToolbarControls.addCommand","on":"ToolbarControls",)"
       R"("args":["CommandDefinition:a","b",true],"result":"CommandControl:a"})",
       R"(ToolbarControls.addCommand(CommandDefinition:a, "b", true) = CommandControl:a)"},
      {full, R"({"event":"stop returned","value":false})", "stop = false"},
      {full, R"({"event":"threw","type":"std::out_of_range","what":"gone \"away\""})",
       R"(threw std::out_of_range("gone \"away\""))"},
      // Planned failures.
      {full, R"({"op":"Palettes.itemById","args":["a"],"result":null,"fault":"null"})",
       "Palettes.itemById(\"a\") = null  (planned)"},
      {full, R"({"op":"Application.preferences","args":[],"fault":"throw"})",
       "Application.preferences() throws  (planned)"},
      // Long strings and lists.
      {shortened, R"({"event":"open","args":["1234567890123456789012345678901234","1","2","3"]})",
       R"(open("1234567890123456789012345678901234", "1", "2", "3"))"},
      {shortened,
       R"({"event":"open","args":["12345678901234567890123456789012345","1","2","3","4"]})",
       R"(open("1234567890123456789012345678901234…", "1", "2", "3", …))"},
      {shortened, R"({"event":"open","args":["kůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůň"]})",
       R"(open("kůňkůňkůňkůňkůňkůňkůňkůňkůňkůňkůňk…"))"},
      // One argument a line.
      {spread, R"({"op":"Palettes.add","on":"Palettes","args":["a",true,300],"result":null})",
       "Palettes.add(\n  \"a\",\n  true,\n  300\n) = null"},
      {spread, R"({"op":"Palettes.itemById","on":"Palettes","args":["a"],"result":null})",
       R"(Palettes.itemById("a") = null)"}};
  for (const auto& [form, entry, code] : calls) EXPECT_EQ(callLine(Json::parse(entry), form), code);
}

TEST(Calls, WhatIsNoUtf8IsShortenedToo) {
  const Json entry = {{"event", "open"}, {"args", {std::string(9999, '\x80')}}};
  EXPECT_LT(callLine(entry, shortened).size(), 500U);
}

TEST(Calls, JsonThatIsNoEntryStaysJson) {
  for (const char* const json :
       {"{}", "[1]", "\"text\"", R"({"op":5})", R"({"op":"a.b"})", R"({"op":"a.b","args":[]})",
        R"({"event":null})", R"({"event":"notify"})", R"({"event":"threw","type":"a"})"}) {
    EXPECT_EQ(callLine(Json::parse(json), full), json);
  }
  EXPECT_EQ(callLine(Json::parse(R"({"op":"a","args":[],"result":1})"), full), "a() = 1");
}
