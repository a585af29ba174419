#include <nlohmann/json.hpp>

#include "tests/program/program.h"

namespace {

using nlohmann::json;
using test::Result;

constexpr const char* kSmallInfo =
    "format:           mar345\n"
    "size:             2 x 2 pixels\n"
    "wavelength:       1.54179 Å\n"
    "distance:         100.5 mm\n"
    "start:            10 °\n"
    "oscillation:      1.5 °\n"
    "pixel size:       0.15 x 0.15 mm\n"
    "date:             Mon Jun  8 15:49:26 2009\n"
    "minimum:          5 counts\n"
    "maximum:          256000 counts\n"
    "mean:             81502.5 counts\n"
    "unknown:          0 pixels\n";

// Of 2 x 2 pixels: 5, 5, 256000 and 70000, the last two from overflow records.
class Info : public testing::Test {
 protected:
  Info() { place_.write("a.mar2300", test::small_mar345()); }
  test::Workplace place_;
};

TEST_F(Info, TellsHeaderValuesAndStatistics) {
  const Result result = place_.xrdimage("info a.mar2300");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, std::string("file:             a.mar2300\n") + kSmallInfo);
  EXPECT_EQ(result.err, "");
}

TEST_F(Info, TheNameOfTheFileDoesNotMatter) {
  place_.write("b c'd.0001", test::small_mar345());
  const Result result = place_.xrdimage("info \"b c'd.0001\"");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, std::string("file:             b c'd.0001\n") + kSmallInfo);
}

TEST_F(Info, ValuesThatTheHeaderLacksAreLeftOut) {
  const std::string bytes = test::small_mar345();
  place_.write("bare.mar2300", bytes.substr(0, 128) + std::string(3968, ' ') + bytes.substr(4096));
  EXPECT_EQ(place_.xrdimage("info bare.mar2300").out,
            "file:             bare.mar2300\n"
            "format:           mar345\n"
            "size:             2 x 2 pixels\n"
            "minimum:          5 counts\n"
            "maximum:          256000 counts\n"
            "mean:             81502.5 counts\n"
            "unknown:          0 pixels\n");
}

TEST_F(Info, OverflowedPixelsAreUnknown) {
  std::string bytes = test::small_mar345();
  bytes.replace(4100, 4, test::little32(0xFFFFFFFF));  // the value of the first record
  place_.write("b.mar2300", bytes);
  const Result result = place_.xrdimage("info b.mar2300");
  EXPECT_NE(result.out.find("maximum:          70000 counts\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("mean:             23336.67 counts\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("unknown:          1 pixels\n"), std::string::npos) << result.out;
}

TEST_F(Info, GeometryCanBeStated) {
  const Result result =
      place_.xrdimage("info a.mar2300 --beam 1.25,-3 --wavelength 0.9 --distance 250 --pixel 0.1,0.2");
  for (const char* line : {"wavelength:       0.9 Å\n", "distance:         250 mm\n",
                           "pixel size:       0.1 x 0.2 mm\n", "beam centre:      1.25, -3 pixels\n"}) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
  }
}

TEST_F(Info, GeometryThatCannotBeIsRefused) {
  for (const char* arguments : {"--beam 1", "--beam 1,2,3", "--beam x,y", "--wavelength 0", "--wavelength nan",
                                "--distance -1", "--pixel 0.1,0", "--pixel inf", "--pixel 0.1,"}) {
    const Result result = place_.xrdimage(std::string("info a.mar2300 ") + arguments);
    EXPECT_EQ(result.status, 2) << arguments;
    EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
  }
}

TEST_F(Info, SeveralFramesAreATableBelowWhatTheyHaveInCommon) {
  const std::string frame = test::small_mar345();
  std::string other = frame;
  other.replace(other.find("START 10.000"), 12, "START 11.250");
  other.replace(4100, 4, test::little32(7));  // the value of the first record
  place_.write("long name.mar", other);
  const Result result = place_.xrdimage("info a.mar2300 'long name.mar'");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "format:           mar345\n"
            "size:             2 x 2 pixels\n"
            "wavelength:       1.54179 Å\n"
            "distance:         100.5 mm\n"
            "pixel size:       0.15 x 0.15 mm\n"
            "date:             Mon Jun  8 15:49:26 2009\n"
            "minimum:          5 counts\n"
            "unknown:          0 pixels\n"
            "\n"
            "file           start/°  oscillation/°  maximum/counts  mean/counts\n"
            "a.mar2300           10            1.5          256000      81502.5\n"
            "long name.mar    11.25           0.25           70000     17504.25\n");
}

TEST_F(Info, ValuesThatSomeFramesLackAreDashesInTheTable) {
  place_.write("b.raw", test::little16(1) + test::little16(2) + test::little16(3) + test::little16(4));
  const Result result = place_.xrdimage("info a.mar2300 b.raw");
  EXPECT_NE(result.out.find("\nb.raw      raw                -            -        -"), std::string::npos)
      << result.out;
}

TEST_F(Info, GoesOnAfterABadFile) {
  const Result result = place_.xrdimage("info missing.mar2300 a.mar2300");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: missing.mar2300: No such file or directory\n");
  EXPECT_NE(result.out.find("\n\nfile\na.mar2300\n"), std::string::npos) << result.out;
}

TEST_F(Info, JsonHasAllValuesWithTheirUnits) {
  const Result result = place_.xrdimage("info --json a.mar2300");
  EXPECT_EQ(result.status, 0);
  const json all = json::parse(result.out);
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0], json({{"file", "a.mar2300"},
                          {"format", "mar345"},
                          {"width", 2},
                          {"height", 2},
                          {"wavelength_angstrom", 1.54179},
                          {"distance_mm", 100.5},
                          {"oscillation_start_degrees", 10.0},
                          {"oscillation_range_degrees", 1.5},
                          {"exposure_seconds", nullptr},
                          {"pixel_width_mm", 0.15},
                          {"pixel_height_mm", 0.15},
                          {"beam_x_pixels", nullptr},
                          {"beam_y_pixels", nullptr},
                          {"saturation_counts", nullptr},
                          {"date", "Mon Jun  8 15:49:26 2009"},
                          {"detector", nullptr},
                          {"minimum_counts", 5},
                          {"maximum_counts", 256000},
                          {"mean_counts", 81502.5},
                          {"known_pixels", 4},
                          {"unknown_pixels", 0},
                          {"warnings", json::array()}}));
}

std::string numbered_name(int number) {
  std::string name("n");
  return name.append(std::to_string(number)).append(".raw");
}

TEST_F(Info, JsonOfManyFramesKeepsTheirOrder) {
  std::string names;
  for (int i = 0; i < 30; ++i) {
    place_.write(numbered_name(i), test::little16(static_cast<unsigned>(i)));
    names.append(" ").append(numbered_name(i));
  }
  const json all = json::parse(place_.xrdimage("info --json -j 3 --size 1x1" + names).out);
  ASSERT_EQ(all.size(), 30U);
  for (int i = 0; i < 30; ++i) {
    EXPECT_EQ(all[static_cast<std::size_t>(i)]["file"], numbered_name(i));
    EXPECT_EQ(all[static_cast<std::size_t>(i)]["maximum_counts"], i);
  }
}

TEST_F(Info, NamesAndHeadersThatAreNoUtf8DoNotSpoilTheJson) {
  std::string bytes = test::small_mar345();
  bytes.replace(bytes.find("Mon Jun"), 3, "M\xE4r");
  place_.write("\xFF.mar2300", bytes);
  const json all = json::parse(place_.xrdimage("info --json \xFF.mar2300").out);
  EXPECT_EQ(all[0]["file"], "\xEF\xBF\xBD.mar2300");
  EXPECT_EQ(all[0]["date"], "M\xEF\xBF\xBDr Jun  8 15:49:26 2009");
}

TEST_F(Info, CsvQuotesWhatNeedsIt) {
  place_.write("a,\"b\".mar2300", test::small_mar345());
  const Result result = place_.xrdimage(R"(info --csv 'a,"b".mar2300' a.mar2300)");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "file,format,width,height,wavelength_angstrom,distance_mm,oscillation_start_degrees,"
            "oscillation_range_degrees,exposure_seconds,pixel_width_mm,pixel_height_mm,beam_x_pixels,beam_y_pixels,"
            "saturation_counts,date,detector,minimum_counts,maximum_counts,mean_counts,known_pixels,unknown_pixels,"
            "warnings\n"
            "\"a,\"\"b\"\".mar2300\",mar345,2,2,1.54179,100.5,10.0,1.5,,0.15,0.15,,,,Mon Jun  8 15:49:26 2009,,5,"
            "256000,81502.5,4,0,\n"
            "a.mar2300,mar345,2,2,1.54179,100.5,10.0,1.5,,0.15,0.15,,,,Mon Jun  8 15:49:26 2009,,5,"
            "256000,81502.5,4,0,\n");
}

TEST_F(Info, ScriptsGetWellFormedOutputWithoutFrames) {
  EXPECT_EQ(json::parse(place_.xrdimage("info --json x1 x2").out), json::array());
  const std::string csv = place_.xrdimage("info --csv x1 x2").out;
  EXPECT_TRUE(csv.starts_with("file,format,")) << csv;
  EXPECT_EQ(std::ranges::count(csv, '\n'), 1);
  EXPECT_EQ(place_.xrdimage("info --csv --json a.mar2300").status, 2);
}

TEST_F(Info, ShardsShareTheFrames) {
  for (const char* name : {"b", "c", "d", "e"}) place_.write(name, test::small_mar345());
  const auto names_of = [&](const std::string& shard) {
    std::string names;
    for (const json& frame : json::parse(place_.xrdimage("info --json --shard " + shard + " a.mar2300 b c d e").out)) {
      names += frame["file"].get<std::string>() + " ";
    }
    return names;
  };
  EXPECT_EQ(names_of("1/2"), "a.mar2300 c e ");
  EXPECT_EQ(names_of("2/2"), "b d ");
  EXPECT_EQ(names_of("7/7"), "");
  for (const char* shard :
       {"0/2", "3/2", "1", "1/0", "a/b", "1/2x", "-1/2", "1/-1", "-5/-3", "1/99999999999999999999"}) {
    EXPECT_EQ(place_.xrdimage(std::string("info a.mar2300 --shard=") + shard).status, 2) << shard;
  }
}

TEST_F(Info, NamesMayComeFromAList) {
  place_.write("list", "a.mar2300\n\nb c\n");
  place_.write("b c", test::small_mar345());
  EXPECT_EQ(json::parse(place_.xrdimage("info --json --files-from list").out).size(), 2U);
  EXPECT_EQ(json::parse(place_.xrdimage("info --json --files-from - a.mar2300", "b c\n").out).size(), 2U);
  EXPECT_EQ(place_.xrdimage("info --files-from none").err, "xrdimage: none: No such file or directory\n");
  EXPECT_EQ(place_.xrdimage("info --files-from -").status, 2);
  place_.write("list", "a.mar2300\r\nb c\r\n\r\n");
  EXPECT_EQ(json::parse(place_.xrdimage("info --json --files-from list").out).size(), 2U);
  EXPECT_EQ(place_.xrdimage("info --files-from .").err, "xrdimage: .: Is a directory\n");
}

TEST_F(Info, NamesOfAListMayEndWithNuls) {
  const std::string name = "two\nlines\r";
  place_.write(name, test::small_mar345());
  const std::string list = std::string("a.mar2300\0", 10) + name;
  const json values = json::parse(place_.xrdimage("info --json --files-from -", list + '\0').out);
  ASSERT_EQ(values.size(), 2U);
  EXPECT_EQ(values[1]["file"], name);
  EXPECT_EQ(json::parse(place_.xrdimage("info --json --files-from -", list).out), values);  // the last one without
}

TEST_F(Info, AParentMayIgnoreTheEndOfProcesses) {
  const Result result = place_.run("trap '' CHLD; exec \"$xrdimage\" info a.mar2300 missing");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "xrdimage: missing: No such file or directory\n");
  EXPECT_NE(result.out.find("a.mar2300"), std::string::npos);
}

TEST_F(Info, ATextWithANulLeavesTheRowOfATableWhole) {
  std::string file = "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\nDetector = A|B ;\n}\n12";
  std::string row = ",A|B,12849,12849,12849.0,1,0,";
  for (std::string* text : {&file, &row}) text->at(text->find('|')) = '\0';
  place_.write("frame.edf", file);
  const std::string table = place_.xrdimage("info --csv frame.edf").out;
  EXPECT_NE(table.find(row), std::string::npos) << table;
}

TEST_F(Info, ValuesThatFitNoNumberAreLeftOut) {
  place_.write("frame.edf", "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\nSampleDistance = 1e308 ;\n}\n12");
  EXPECT_EQ(place_.xrdimage("info frame.edf").out.find("distance"), std::string::npos);
}

TEST_F(Info, ControlCharactersReachNoTerminal) {
  std::string bytes = test::small_mar345();
  bytes.replace(bytes.find("Mon Jun"), 3, "\x1B[m");
  place_.write("a\nb.mar2300", bytes);
  const Result result = place_.xrdimage("info 'a\nb.mar2300' 'no\nfile'");
  EXPECT_EQ(result.err, "xrdimage: no?file: No such file or directory\n");
  EXPECT_NE(result.out.find("\na?b.mar2300\n"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("date:             ?[m Jun  8 15:49:26 2009\n"), std::string::npos) << result.out;
  EXPECT_EQ(place_.xrdimage("info 'no\nfile'").err, "xrdimage: no?file: No such file or directory\n");
  // U+009B begins sequences as well; what the library prints may hold any.
  EXPECT_EQ(place_.xrdimage("info 'no\u009Bfile ü'").err, "xrdimage: no?file ü: No such file or directory\n");
  place_.write("frame.edf", "{\nDim_1 = 1 ;\nDim_2 = 1 ;\nDataType = U\x1B]0; ;\n}\n12");
  EXPECT_NE(place_.xrdimage("info --classic -v frame.edf").out.find("# Datatype U?]0; nicht bekannt"),
            std::string::npos);
}

// The bytes of another encoding, and what reorders a line.
TEST_F(Info, BytesThatAreNoTextReachNoTerminal) {
  const Result result = place_.xrdimage(
      "info -j 1 'no\x9B"
      "1mfile' 'Mä\xE4rz€' 'x\u202E\u2028y'");
  EXPECT_EQ(result.err,
            "xrdimage: no?1mfile: No such file or directory\n"
            "xrdimage: Mä?rz€: No such file or directory\n"
            "xrdimage: x??y: No such file or directory\n");
  place_.write("M\xE4rz", test::small_mar345());
  // What is no UTF-8 has been replaced already, so that all forms tell the same.
  EXPECT_TRUE(place_.xrdimage("info 'M\xE4rz'").out.starts_with("file:             M\uFFFDrz\n"));
}

TEST_F(Info, JsonHasEscapesForWhatIsUnprintable) {
  std::string bytes = test::small_mar345();
  bytes.replace(bytes.find("Mon Jun"), 7, "\x7F\u009B\u202E");
  const std::string name = "ä\u0080\u009F\u2029\x1B€\\.mar2300";
  place_.write(name, bytes);
  const std::string out = place_.xrdimage("info --json '" + name + "'").out;
  EXPECT_NE(out.find(R"("file":"ä\u0080\u009f\u2029\u001b€\\.mar2300")"), std::string::npos) << out;
  EXPECT_NE(out.find(R"("date":"\u007f\u009b\u202e)"), std::string::npos) << out;
  const json values = json::parse(out)[0];
  EXPECT_EQ(values["file"], name);
  EXPECT_TRUE(values["date"].get<std::string>().starts_with("\x7F\u009B\u202E"));
}

// The first field of the first frame, as a reader of CSV has it.
std::string first_csv_field(const std::string& table) {
  const std::size_t begin = table.find('\n') + 1;
  if (table.at(begin) != '"') return table.substr(begin, table.find(',', begin) - begin);
  std::string field;
  for (std::size_t at = begin + 1; table.at(at) != '"' || table.at(at + 1) == '"'; ++at) {
    if (table[at] == '"') ++at;
    field += table[at];
  }
  return field;
}

TEST_F(Info, CsvHasNoFormulas) {
  for (const char* name : {"=1+1",   "=HYPERLINK(\"http:x\",\"y\")",
                           "+1+2",   "-a",
                           "-1.edf", "@SUM(A1)",
                           "\tx",    "\r=1",
                           "\n=1",   "+-5",
                           "-inf",   "-nan",
                           "-0x10",  "+",
                           "-",      "-1,2",
                           "=",      "＝1",
                           "＋1",    "－1",
                           "＠x",    "'",
                           "'=1"}) {
    place_.write(std::string("./") + name, test::small_mar345());
    place_.write("list", std::string(name) + '\0');
    const Result result = place_.xrdimage("info --csv --files-from list");
    EXPECT_EQ(result.status, 0) << name << result.err;
    EXPECT_NE(result.out.find("\n\"'"), std::string::npos) << name << result.out;
    EXPECT_EQ(first_csv_field(result.out), std::string("'") + name) << result.out;
  }
}

// Semicolons in some languages; tabs, too, where they are not told otherwise.
TEST_F(Info, CsvHasNoFormulasWhereSpreadsheetsSplitTexts) {
  for (const auto& [name, field] : {std::pair("a;=1+1", "a;'=1+1"), std::pair("a\t=1+1;-5", "a\t'=1+1;-5"),
                                    std::pair("a;-1+1,@b", "a;'-1+1,'@b"), std::pair("a;b", "a;b")}) {
    place_.write(name, test::small_mar345());
    place_.write("list", std::string(name) + '\0');
    const std::string table = place_.xrdimage("info --csv --files-from list").out;
    EXPECT_EQ(table.substr(table.find('\n') + 1, 1), "\"") << table;
    EXPECT_EQ(first_csv_field(table), field) << table;
  }
}

TEST_F(Info, CsvLeavesNumbersAndOtherTextsAsTheyAre) {
  for (const char* name : {"-1", "+1.5e3", "-0.25", "+7", "-1e-5", "1=1", "a@b", " =1", "x'y", "a\u009Bb"}) {
    place_.write(std::string("./") + name, test::small_mar345());
    place_.write("list", std::string(name) + '\0');
    const Result result = place_.xrdimage("info --csv --files-from list");
    EXPECT_TRUE(result.out.substr(result.out.find('\n') + 1).starts_with(std::string(name) + ",mar345,")) << result.out;
  }
  EXPECT_NE(place_.xrdimage("info --csv a.mar2300 --beam=-5,-2.5").out.find(",-5.0,-2.5,"), std::string::npos);
}

TEST_F(Info, CsvHasNoFormulasInTextsOfHeaders) {
  const std::string fields = "Dim_1 = 1 ;\nDim_2 = 1 ;\nDataType = UnsignedShort ;\n";
  place_.write("frame.edf", "{\n" + fields + "Detector = =cmd|' /C calc'!A0 ;\n}\n12");
  const std::string table = place_.xrdimage("info --csv frame.edf").out;
  EXPECT_NE(table.find(",\"'=cmd|' /C calc'!A0\","), std::string::npos) << table;
}

// script(1) runs the command on a terminal of its own, where lines end with a carriage return, too.
TEST_F(Info, CsvOnATerminalIsPrintable) {
  place_.write("a\nb\x1B]0;\u009Bc,\".mar2300", test::small_mar345());
  place_.write("list", std::string("a\nb\x1B]0;\u009Bc,\".mar2300") + '\0');
  const std::string command = "info --csv --files-from list";
  const std::string piped = place_.xrdimage(command).out;
  EXPECT_EQ(first_csv_field(piped), "a\nb\x1B]0;\u009Bc,\".mar2300");
  const std::string shown = place_.run("script -qec \"$xrdimage " + command + "\" /dev/null </dev/null").out;
  EXPECT_NE(shown.find("\r\n\"a?b?]0;?c,\"\".mar2300\",mar345,2,2,"), std::string::npos) << shown;
  EXPECT_EQ(shown.find('\x1B'), std::string::npos);
}

class InfoOfRawFiles : public testing::Test {
 protected:
  InfoOfRawFiles() { place_.write("dump.raw", std::string("\x01\0\x02\0\x03\0\x04\0\x0A\0\xFF\xFF", 12)); }
  test::Workplace place_;
};

TEST_F(InfoOfRawFiles, TakesTheSizeFromTheOption) {
  const Result result = place_.xrdimage("info --size 3x2 dump.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "file:             dump.raw\n"
            "format:           raw\n"
            "size:             3 x 2 pixels\n"
            "minimum:          1 counts\n"
            "maximum:          65535 counts\n"
            "mean:             10925.83 counts\n"
            "unknown:          0 pixels\n");
  EXPECT_EQ(result.err, "");
}

TEST_F(InfoOfRawFiles, AGuessIsAnnounced) {
  place_.write("square.raw", std::string(18, '\0'));
  const Result result = place_.xrdimage("info square.raw");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err,
            "xrdimage: square.raw: warning: is read as 3 x 3 pixels of 16 bits, a guess from its length; "
            "set --size WxH and --depth if it is wrong\n");
  EXPECT_EQ(place_.xrdimage("info dump.raw").err,
            "xrdimage: dump.raw: states no size, and its 12 bytes of pixels fit no usual one; give the size with "
            "--size WxH\n");
}

TEST_F(InfoOfRawFiles, DepthByteOrderAndOffsetCanBeStated) {
  const auto maximum = [&](const std::string& options) {
    return json::parse(place_.xrdimage("info --json dump.raw " + options).out)[0]["maximum_counts"];
  };
  EXPECT_EQ(maximum("--size 12x1 --depth 8"), 255);
  EXPECT_EQ(maximum("--size 3x1 --depth 32"), 0xFFFF000ALL);
  EXPECT_EQ(maximum("--size 5x1 --big-endian"), 0x0A00);
  EXPECT_EQ(maximum("--size 1x1 --skip 8"), 10);
  EXPECT_EQ(place_.xrdimage("info dump.raw --depth 12").status, 2);
  EXPECT_EQ(place_.xrdimage("info dump.raw --size 1x1 --skip -1").status, 2);
}

TEST_F(InfoOfRawFiles, SizesMustBeTwoPositiveNumbers) {
  for (const char* size : {"3", "3x", "x2", "0x2", "3x-2", "3x2x", "3 2"}) {
    const Result result = place_.xrdimage(std::string("info dump.raw --size '") + size + "'");
    EXPECT_EQ(result.status, 2) << size;
    EXPECT_TRUE(result.err.starts_with("xrdimage: --size: '")) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(InfoOfRawFiles, MoreFilesThanDescriptorsAreNoTrouble) {
  std::string files;
  for (int i = 0; i < 60; ++i) files += " dump.raw";
  for (const char* classic : {"", "--classic --format raw "}) {
    const Result result =
        place_.run(std::string("ulimit -S -n 24; exec \"$xrdimage\" info --size 3x2 ") + classic + files);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
  }
}

TEST(InfoOfRealFrames, HasTheCountsOfTheirOwnHeaders) {
  const std::string path = test::sample_frame("nx09_strain_011.mar2300");
  if (path.empty()) GTEST_SKIP() << "the shared samples are absent";
  const test::Workplace place;
  const Result result = place.xrdimage("info " + path);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  for (const char* line :
       {"size:             2300 x 2300 pixels\n", "wavelength:       1.54179 Å\n", "distance:         100 mm\n",
        "minimum:          0 counts\n", "maximum:          67080 counts\n", "unknown:          0 pixels\n"}) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
  }
}

}  // namespace
