#include "simulator/server/http/HtmlInsertion.h"

#include <gtest/gtest.h>

namespace vecamera::simulator {
namespace {

constexpr const char* markup = "[S]";

TEST(HtmlInsertionTest, IsTheFirstThingInTheHeadHoweverTheDocumentComes) {
  const struct {
    std::string document;
    std::string expected;
  } cases[] = {
      {"<!doctype html><html lang=\"en\"><head><title>",
       "<!doctype html><html lang=\"en\"><head>[S]<title>"},
      {"\xef\xbb\xbf<!DOCTYPE html>\n<HTML>\n<HEAD data-x='>'>\n<p>",
       "\xef\xbb\xbf<!DOCTYPE html>\n<HTML>\n<HEAD data-x='>'>[S]\n<p>"},
      {"<!-- <head> --><html><!-- > --><head>x", "<!-- <head> --><html><!-- > --><head>[S]x"},
      {"<html><body>x", "<html>[S]<body>x"},
      {"<!doctype html><header>x", "<!doctype html>[S]<header>x"},
      {"<!doctype html>", "<!doctype html>[S]"},
      {"<h1>x", "[S]<h1>x"},
      {"plain text", "[S]plain text"},
      {"<head", "[S]<head"},
      {"", "[S]"},
      {std::string("\xff\xfe<\0h\0", 6), std::string("\xff\xfe<\0h\0", 6)},
  };
  for (const auto& [document, expected] : cases) {
    EXPECT_EQ(withInsertion(document, markup), expected);
    for (std::size_t size = 1; size < document.size(); ++size) {
      HtmlInsertion insertion(markup);
      std::string all;
      for (std::size_t at = 0; at < document.size(); at += size)
        all += insertion.push(std::string_view(document).substr(at, size));
      EXPECT_EQ(all + insertion.finish(), expected) << "in pieces of " << size;
    }
  }
}

TEST(HtmlInsertionTest, HoldsNothingBackForLong) {
  HtmlInsertion insertion(markup);
  EXPECT_EQ(insertion.push("<!doctype html><!--"), "");
  const auto sent = insertion.push(std::string(20'000, 'x'));
  EXPECT_TRUE(sent.starts_with("<!doctype html>[S]<!--x"));
  EXPECT_EQ(insertion.push("y"), "y");
}

}  // namespace
}  // namespace vecamera::simulator
