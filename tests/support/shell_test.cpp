#include "support/shell.h"

#include <random>

#include "tests/environment.h"

namespace {

// The words that a shell makes of its arguments.
std::vector<std::string> words_seen_by_shell(const std::string& arguments) {
  const std::string text =
      test::capture([&] { EXPECT_EQ(std::system(("printf '%s\\0' " + arguments).c_str()), 0); }).out;
  std::vector<std::string> words;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\0', start);
    words.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

}  // namespace

TEST(Shell, PlainPathsStandAsTheyAre) {
  constexpr std::string_view kPlain = "/ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+=:,@%";
  EXPECT_EQ(xrd::shell_word(kPlain), kPlain);
  EXPECT_EQ(xrd::shell_word("frame_001.mar2300"), "frame_001.mar2300");
}

TEST(Shell, EveryOtherByteIsQuoted) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+=:,@%";
  for (int code = 1; code < 256; ++code) {
    const auto character = static_cast<char>(code);
    const std::string path = std::string("a") + character + "b";
    const std::string word = xrd::shell_word(path);
    if (kPlain.find(character) != std::string_view::npos) {
      EXPECT_EQ(word, path);
    } else if (character != '\'') {
      EXPECT_EQ(word, "'" + path + "'");
    } else {
      EXPECT_EQ(word, "'a'\\''b'");
    }
  }
}

TEST(Shell, AnEmptyPathIsAnEmptyWord) {
  EXPECT_EQ(xrd::shell_word(""), "''");
}

TEST(Shell, ALeadingDashIsNoOption) {
  EXPECT_EQ(xrd::shell_word("-f"), "./-f");
  EXPECT_EQ(xrd::shell_word("--help"), "./--help");
  EXPECT_EQ(xrd::shell_word("-"), "./-");
  EXPECT_EQ(xrd::shell_word("-my frame"), "'./-my frame'");
  EXPECT_EQ(xrd::shell_word("a-b"), "a-b");
}

TEST(Shell, PathsHaveNoLengthLimit) {
  const std::string name(100000, 'x');
  EXPECT_EQ(xrd::shell_word(name), name);
  EXPECT_EQ(xrd::shell_word(name + " "), "'" + name + " '");
}

TEST(Shell, TheShellSeesEachPathAsOneWord) {
  const std::vector<std::string> paths{"",         "a b",      "it's",         "''",         "'",    "\"", "$(echo x)",
                                       "`echo x`", "a;echo x", "a|b>c<d&",     "line\nfeed", "*",    "~",  "#",
                                       "\\",       "back\\'s", "${HOME}",      "!",          "\t",   "?",  "[a]",
                                       "{a,b}",    "\xFC\xE4", "\x7F\x01\x1B", "=x",         "%d%s", "\n", "a\n"};
  std::string arguments;
  for (const std::string& path : paths) arguments.append(" ").append(xrd::shell_word(path));
  EXPECT_EQ(words_seen_by_shell(arguments), paths);
}

TEST(Shell, TheShellSeesRandomPathsAsOneWord) {
  std::mt19937 random(17);  // the same paths in each run
  const std::string_view kNasty = "'\"\\$`-;|&<>(){}[]*?~# \n\ta";
  std::vector<std::string> expected;
  std::string arguments;
  for (int i = 0; i < 300; ++i) {
    std::string path;
    for (std::size_t length = random() % 12; length > 0; --length) {
      path += random() % 2 == 0 ? kNasty[random() % kNasty.size()] : static_cast<char>(1 + random() % 255);
    }
    arguments.append(" ").append(xrd::shell_word(path));
    expected.push_back(path.starts_with('-') ? "./" + path : path);
  }
  EXPECT_EQ(words_seen_by_shell(arguments), expected);
}
