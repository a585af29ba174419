#include <string>
#include <vector>

#include "tests/corpus/run.h"
#include "tests/environment.h"
#include "xrdimage.h"

namespace corpus {

namespace {

constexpr const char* kNames[] = {"MODPIX.XDS", "BKGPIX.XDS", "modpix.xds", "BKGPIX.XDS2", ""};

void correction_records(Run& run) {
  for (const std::size_t size : {5000U, 4748U, 4000U, 0U}) {
    const auto stream = test::stream_of(run.random.bytes(size));
    std::vector<std::uint32_t> buffer(1200);
    run.record([&] { return getcorr(buffer.data(), stream.get()); });
    run.digest.add(buffer);
    run.digest.add(std::ftell(stream.get()));
  }
}

void correction_images(Run& run) {
  for (const auto& [x, y] : {std::pair{10, 20}, {20, 30}, {0, 3}, {1, 1}}) {
    const auto stream = test::stream_of(run.random.bytes(1600));
    std::vector<std::uint32_t> buffer(600);
    run.record([&, columns = x, rows = y] { return getmod(buffer.data(), stream.get(), columns, rows); });
    run.digest.add(buffer);
    run.digest.add(std::ftell(stream.get()));
  }
}

void closed_streams(Run& run) {
  for (const char* name : kNames) {
    const std::size_t before = test::open_descriptors();
    std::FILE* const stream = test::stream_of("").release();
    const std::string_view text = name;
    const bool modpix = text == "MODPIX.XDS";
    const bool bkgpix = text == "BKGPIX.XDS";
    run.record([&] {
      return fileclose(name, modpix ? stream : nullptr, bkgpix ? stream : nullptr, modpix || bkgpix ? nullptr : stream);
    });
    run.digest.add(test::open_descriptors() == before);
    run.record([&] { return fileclose(name, nullptr, nullptr, nullptr); });
  }
}

void rewound_streams(Run& run) {
  for (const char* name : kNames) {
    const auto modpix = test::stream_of("modpix");
    const auto bkgpix = test::stream_of("bkgpix");
    const auto other = test::stream_of("other");
    for (std::FILE* stream : {modpix.get(), bkgpix.get(), other.get()}) std::fseek(stream, 3, SEEK_SET);
    run.record([&] { filerewind(name, modpix.get(), bkgpix.get(), other.get()); });
    for (std::FILE* stream : {modpix.get(), bkgpix.get(), other.get()}) run.digest.add(std::ftell(stream));
  }
}

void deleted_file(Run& run) {
  for (const int status : {0, 256, -1}) {
    const test::ShellRecorder shell([&](const std::string& command) {
      run.digest.add(command);
      return status;
    });
    run.record([] { return filedelete(); });
  }
}

}  // namespace

Functions correction_files() {
  return {{"getcorr", correction_records},
          {"getmod", correction_images},
          {"fileclose", closed_streams},
          {"filerewind", rewound_streams},
          {"filedelete", deleted_file}};
}

}  // namespace corpus
