#include "host/new_file.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "host/failure.h"
#include "tests/host/program.h"

namespace {

namespace fs = std::filesystem;
using host::Failure;
using host::NewFile;
using Names = std::vector<std::string>;

std::string failure_of(const std::function<void()>& action) {
  try {
    action();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "none";
}

TEST(NewFile, AppearsUnderItsNameWhenCommitted) {
  const test::Workplace place;
  NewFile file("out");
  std::fputs("bytes", file.stream());
  EXPECT_FALSE(fs::exists("out"));
  file.commit();
  EXPECT_EQ(test::read_file("out"), "bytes");
  EXPECT_EQ(place.files(), Names{"out"});
}

TEST(NewFile, LeavesSignalsToTheProcessThatWantsThem) {
  const test::Workplace place;
  const auto before = std::signal(SIGTERM, SIG_DFL);
  {
    NewFile file("out", host::Interrupts::kAreLeftAlone);
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL);
  }
  EXPECT_TRUE(place.files().empty());
  std::signal(SIGTERM, before);
}

TEST(NewFile, TellsTheSystemsErrors) {
  const test::Workplace place;
  fs::create_directory("folder");
  const auto error_of = [](const std::string& path) {
    try {
      const NewFile file(path);
    } catch (const Failure& failure) {
      return failure.error();
    }
    return 0;
  };
  EXPECT_EQ(error_of("folder"), EISDIR);
  EXPECT_EQ(error_of("no/folder/out"), ENOENT);
}

TEST(NewFile, VanishesWithoutACommit) {
  const test::Workplace place;
  place.write("out", "old");
  {
    NewFile file("out");
    std::fputs("new", file.stream());
    EXPECT_EQ(place.files().size(), 2U);
  }
  EXPECT_EQ(place.files(), Names{"out"});
  EXPECT_EQ(test::read_file("out"), "old");
}

TEST(NewFile, ReplacesWhatASymbolicLinkPointsTo) {
  const test::Workplace place;
  place.write("target", "old");
  fs::create_symlink("target", "link");
  NewFile file("link");
  std::fputs("new", file.stream());
  file.commit();
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(test::read_file("target"), "new");
}

TEST(NewFile, HasThePermissionsOfAnyNewFile) {
  const test::Workplace place;
  const mode_t mask = umask(027);
  NewFile("out").commit();
  umask(mask);
  EXPECT_EQ(static_cast<unsigned>(fs::status("out").permissions()), 0640U);
}

TEST(NewFile, HasThePermissionsOfTheFileThatItReplaces) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{0604});
  NewFile("out").commit();
  EXPECT_EQ(static_cast<unsigned>(fs::status("out").permissions()), 0604U);
}

TEST(NewFile, WhatIsWriteProtectedStays) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{0444});
  fs::permissions(".", fs::perms::all);
  const pid_t process = fork();
  if (process == 0) {
    constexpr uid_t kNobody = 65534;
    const bool is_user = geteuid() != 0 || setuid(kNobody) == 0;  // nothing is protected from root
    _exit(is_user && failure_of([] { NewFile("out"); }) == "out: Permission denied" ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(place.files(), Names{"out"});
}

TEST(NewFile, IsMadeWhereASymbolicLinkLeads) {
  const test::Workplace place;
  fs::create_directory("folder");
  fs::create_symlink("folder/target", "link");
  fs::create_symlink("link", "other");
  NewFile("other").commit();
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_TRUE(fs::is_regular_file("folder/target"));
}

TEST(NewFile, DevicesAndDirectoriesAreRefused) {
  const test::Workplace place;
  fs::create_symlink("/dev/full", "full");
  fs::create_directory("folder");
  EXPECT_EQ(failure_of([] { NewFile("full"); }), "full: is not a regular file");
  EXPECT_EQ(failure_of([] { NewFile("folder"); }), "folder: is a directory");
  EXPECT_EQ(failure_of([] { NewFile("missing/out"); }), "missing/out: No such file or directory");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST(NewFile, AnInterruptLeavesNothing) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGALRM, SIGXCPU, SIGUSR1, SIGUSR2}) {
    const test::Workplace place;
    const pid_t process = fork();
    if (process == 0) {
      constexpr rlimit kNoCore{};
      setrlimit(RLIMIT_CORE, &kNoCore);
      NewFile file("out");
      std::fputs("half", file.stream());
      std::fflush(file.stream());
      raise(signal);
      _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_EQ(place.files(), Names{});
  }
}

TEST(NewFile, TemporaryNamesThatAreTakenAreNoTrouble) {
  const test::Workplace place;
  Names taken;
  {
    const NewFile file("out");
    taken = place.files();
  }
  ASSERT_EQ(taken.size(), 1U);
  place.write(taken[0], "of another");
  NewFile file("out");
  std::fputs("new", file.stream());
  file.commit();
  EXPECT_EQ(test::read_file("out"), "new");
  EXPECT_EQ(test::read_file(taken[0]), "of another");
}

TEST(NewFile, SignalsThatAreIgnoredStayIgnored) {
  const test::Workplace place;
  auto* const before = std::signal(SIGHUP, SIG_IGN);
  {
    NewFile file("out");
    EXPECT_EQ(raise(SIGHUP), 0);
    file.commit();
  }
  EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
  EXPECT_EQ(place.files(), Names{"out"});
}

}  // namespace
