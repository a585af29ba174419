// Every exported function over fixed inputs, against digests that all processors share. A function whose results change
// on purpose gets the new line that its test prints, in digests.txt.
#include <array>
#include <cstdio>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "tests/exported_functions.h"

namespace {

using corpus::Function;
using corpus::Functions;

Functions all_functions() {
  Functions all;
  for (const auto& some : {corpus::readers_and_writers(), corpus::packed_images(), corpus::mar345_files(),
                           corpus::correction_files(), corpus::operations(), corpus::display()}) {
    all.insert(all.end(), some.begin(), some.end());
  }
  return all;
}

std::string digest_of(const Function& function) {
  corpus::Run run(function.name);
  function.run(run);
  std::array<char, 17> hex{};
  std::snprintf(hex.data(), hex.size(), "%016llx", static_cast<unsigned long long>(run.digest.value()));
  return hex.data();
}

// Lines of a function's name and its digest.
std::map<std::string, std::string> listed_digests() {
  std::istringstream lines(test::read_file(XRDIMAGE_SOURCE "/tests/corpus/digests.txt"));
  std::map<std::string, std::string> digests;
  for (std::string name, digest; lines >> name >> digest;) digests[name] = digest;
  return digests;
}

class Corpus : public testing::TestWithParam<Function> {};

}  // namespace

TEST(CorpusList, CoversEveryExportedFunction) {
  std::set<std::string> covered;
  for (const Function& function : all_functions()) covered.insert(function.name);
  std::set<std::string> listed;
  for (const auto& [name, digest] : listed_digests()) listed.insert(name);
  EXPECT_EQ(covered, test::exported_functions());
  EXPECT_EQ(listed, covered);
  EXPECT_EQ(covered.size(), 63U);
}

TEST_P(Corpus, GivesTheSameOnEveryProcessor) {
  const std::string digest = digest_of(GetParam());
  EXPECT_EQ(digest, listed_digests()[GetParam().name]) << "the line is now:\n" << GetParam().name << " " << digest;
}

INSTANTIATE_TEST_SUITE_P(, Corpus, testing::ValuesIn(all_functions()),
                         [](const auto& information) { return std::string(information.param.name); });
