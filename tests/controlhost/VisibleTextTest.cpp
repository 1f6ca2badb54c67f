#include <gtest/gtest.h>

#include "tools/controlhost/VisibleText.h"

namespace fliprugair::controlhost {

namespace {

TEST(VisibleText, WhatSteersATerminalOrTurnsTheDirectionIsEscaped) {
  const std::pair<const char*, const char*> rows[] = {
      {"\x1B[2J", "\\u001B[2J"},
      {"a\nb\t", "a\\u000Ab\\u0009"},
      {"\x7F", "\\u007F"},
      {"\xC2\x9B"
       "31m",
       "\\u009B31m"},
      {"\xD8\x9C", "\\u061C"},
      {"gpj\xE2\x80\xAE.exe", "gpj\\u202E.exe"},
      {"\xE2\x81\xA6x\xE2\x81\xA9", "\\u2066x\\u2069"},
      {"\xE2\x80\xA8", "\\u2028"},
      {"\xEF\xBB\xBF", "\\uFEFF"},
  };
  for (const auto& [text, shown] : rows) EXPECT_EQ(visibleText(text), shown);
}

TEST(VisibleText, EverythingElseStaysAsItIs) {
  for (const char* text : {"", "level 7", "Größe", "שלום", "日本語", "👩‍💻", "\xA0", "\xE2\x80", "\xFF\xF0"}) {
    EXPECT_EQ(visibleText(text), text);
  }
}

TEST(VisibleText, OfSeveralLinesTheirEndsStay) { EXPECT_EQ(visibleText("{\n\r}", true), "{\n\\u000D}"); }

}  // namespace

}  // namespace fliprugair::controlhost
