#include "frames/new_file.h"

#include <fcntl.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <barrier>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <thread>

#include "frames/failure.h"
#include "tests/program/program.h"

namespace {

// What the system has been asked to do, and what it answers: an error for a call, by its name.
struct System {
  std::vector<std::string> calls;
  std::map<std::string, int> errors;
};
System* watched = nullptr;

template <typename Call>
int watch(const std::string& name, const std::string& what, Call call) {
  if (watched == nullptr) return call();
  watched->calls.push_back(name + what);
  const auto error = watched->errors.find(name);
  if (error == watched->errors.end()) return call();
  errno = error->second;
  return -1;
}

// Watches while it lives.
class Watch : public System {
 public:
  Watch() { watched = this; }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;
  ~Watch() { watched = nullptr; }
};

}  // namespace

// The linker replaces the system's functions by these; the originals have the names in __real.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
int __real_fchmod(int descriptor, mode_t mode);
int __real_fsync(int descriptor);
int __real_flock(int descriptor, int operation);
int __real_linkat(int from_folder, const char* from, int to_folder, const char* to, int flags);
int __real_renameat(int from_folder, const char* from, int to_folder, const char* to);
int __real_renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags);

int __wrap_fchmod(int descriptor, mode_t mode) {
  struct stat status {};
  fstat(descriptor, &status);
  const bool is_private = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  return watch("fchmod", is_private ? " of a private file" : "", [&] { return __real_fchmod(descriptor, mode); });
}

int __wrap_fsync(int descriptor) {
  struct stat status {};
  fstat(descriptor, &status);
  const std::string what = S_ISDIR(status.st_mode) ? " folder" : " " + std::to_string(status.st_size) + " bytes";
  return watch("fsync", what, [&] { return __real_fsync(descriptor); });
}

int __wrap_flock(int descriptor, int operation) {
  return watch("flock", "", [&] { return __real_flock(descriptor, operation); });
}

int __wrap_linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) {
  return watch("linkat", std::string(" ") + to, [&] { return __real_linkat(from_folder, from, to_folder, to, flags); });
}

int __wrap_renameat(int from_folder, const char* from, int to_folder, const char* to) {
  return watch("renameat", std::string(" ") + to, [&] { return __real_renameat(from_folder, from, to_folder, to); });
}

int __wrap_renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  return watch("renameat2", std::string(" ") + to,
               [&] { return __real_renameat2(from_folder, from, to_folder, to, flags); });
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

namespace fs = std::filesystem;
using frames::Existing;
using frames::Failure;
using frames::NewFile;
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

TEST(NewFile, LeavesSignalsToTheProcess) {
  const test::Workplace place;
  const auto before = std::signal(SIGTERM, SIG_DFL);
  {
    NewFile file("out");
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

TEST(NewFile, DevicesAndDirectoriesAreRefused) {
  const test::Workplace place;
  fs::create_symlink("/dev/full", "full");
  fs::create_directory("folder");
  EXPECT_EQ(failure_of([] { NewFile("full"); }), "full: is not a regular file");
  EXPECT_EQ(failure_of([] { NewFile("folder"); }), "folder: is a directory");
  EXPECT_EQ(failure_of([] { NewFile("missing/out"); }), "missing/out: No such file or directory");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

constexpr uid_t kNobody = 65534;

// Runs the action as a user who is not root: nothing is protected from that one. Tells whether it is so.
bool holds_for_users(const std::function<bool()>& action) {
  const pid_t process = fork();
  if (process == 0) {
    const bool is_user = geteuid() != 0 || setuid(kNobody) == 0;
    _exit(is_user && action() ? 0 : 1);
  }
  int status = 0;
  return waitpid(process, &status, 0) == process && status == 0;
}

unsigned mode_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST(NewFile, WhatIsWriteProtectedStays) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{0444});
  fs::permissions(".", fs::perms::all);
  EXPECT_TRUE(holds_for_users([] { return failure_of([] { NewFile("out"); }) == "out: Permission denied"; }));
  EXPECT_EQ(place.files(), Names{"out"});
}

// ------------------------------------------------------------------------------------------------------------------
// Privileges
// ------------------------------------------------------------------------------------------------------------------

TEST(NewFile, BitsThatActAsOwnerOrGroupAreNotTakenOver) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{07755});
  NewFile("out").commit();
  EXPECT_EQ(mode_of("out"), 0755U);
}

TEST(NewFile, PermissionsOfOtherUsersAreNotTakenOver) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another user";
  const test::Workplace place;
  place.write("out", "old");
  ASSERT_EQ(chown("out", kNobody, kNobody), 0);
  fs::permissions("out", fs::perms{06777});
  const mode_t mask = umask(027);
  NewFile("out").commit();
  umask(mask);
  EXPECT_EQ(mode_of("out"), 0640U);
  struct stat status {};
  ASSERT_EQ(stat("out", &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
}

TEST(NewFile, PermissionsOfOtherGroupsAreNotTakenOver) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another group";
  const test::Workplace place;
  for (const auto& [before, after] : {std::pair(0640U, 0600U), {0664U, 0644U}, {0660U, 0600U}, {0666U, 0666U}}) {
    place.write("out", "old");
    ASSERT_EQ(chown("out", 0, kNobody), 0);
    fs::permissions("out", fs::perms{before});
    NewFile("out").commit();
    EXPECT_EQ(mode_of("out"), after);
    fs::remove("out");
  }
}

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr const char* kListForNewFiles = "system.posix_acl_default";

void append(std::string& bytes, const auto& value) {
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// The owner and one user more may read and write; the group and all others may nothing.
std::string list_for_one_user() {
  std::string list;
  append(list, posix_acl_xattr_header{POSIX_ACL_XATTR_VERSION});
  constexpr auto kNoId = static_cast<std::uint32_t>(ACL_UNDEFINED_ID);
  constexpr unsigned kBoth = ACL_READ | ACL_WRITE;
  append(list, posix_acl_xattr_entry{ACL_USER_OBJ, kBoth, kNoId});
  append(list, posix_acl_xattr_entry{ACL_USER, kBoth, kNobody});
  append(list, posix_acl_xattr_entry{ACL_GROUP_OBJ, 0, kNoId});
  append(list, posix_acl_xattr_entry{ACL_MASK, kBoth, kNoId});
  append(list, posix_acl_xattr_entry{ACL_OTHER, 0, kNoId});
  return list;
}

bool give_list(const std::string& path, const char* kind) {
  const std::string list = list_for_one_user();
  return setxattr(path.c_str(), kind, list.data(), list.size(), 0) == 0;
}

std::string list_of(const std::string& path) {
  std::array<char, 1024> list{};
  const ssize_t size = getxattr(path.c_str(), kAccessList, list.data(), list.size());
  return {list.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

TEST(NewFile, PermissionsOfListsAreThoseOfNoGroup) {
  const test::Workplace place;
  place.write("out", "old");
  if (!give_list("out", kAccessList)) GTEST_SKIP() << "the file system has no lists of access";
  ASSERT_EQ(mode_of("out"), 0660U) << "the most that the list gives stands for the group's";
  NewFile("out").commit();
  EXPECT_EQ(list_of("out"), list_for_one_user());
  EXPECT_EQ(mode_of("out"), 0660U);
}

TEST(NewFile, PermissionsOfListsAreNotTakenOverFromOtherGroups) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of another group";
  const test::Workplace place;
  place.write("out", "old");
  ASSERT_EQ(chown("out", 0, kNobody), 0);
  if (!give_list("out", kAccessList)) GTEST_SKIP() << "the file system has no lists of access";
  NewFile("out").commit();
  EXPECT_EQ(list_of("out"), "");
  EXPECT_EQ(mode_of("out"), 0600U);
}

TEST(NewFile, ListsOfTheFolderGiveNobodyWhatTheReplacedFileDidNot) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{0640});
  if (!give_list(".", kListForNewFiles)) GTEST_SKIP() << "the file system has no lists of access";
  NewFile("out").commit();
  EXPECT_EQ(list_of("out"), "");
  EXPECT_EQ(mode_of("out"), 0640U);
  NewFile("new").commit();
  EXPECT_EQ(list_of("new"), list_for_one_user());
}

TEST(NewFile, WhatOnlyTheOwnerMayReadIsNotReadByOthersMeanwhile) {
  const test::Workplace place;
  place.write("out", "old");
  fs::permissions("out", fs::perms{0600});
  const Watch watch;
  const NewFile file("out");
  EXPECT_EQ(watch.calls.back(), "fchmod of a private file");
  for (const std::string& name : place.files()) EXPECT_EQ(mode_of(name), 0600U) << name;
}

// ------------------------------------------------------------------------------------------------------------------
// Links and races
// ------------------------------------------------------------------------------------------------------------------

TEST(NewFile, LinksToNothingAreRefused) {
  const test::Workplace place;
  fs::create_directory("folder");
  fs::create_symlink("folder/target", "link");
  fs::create_symlink("link", "other");
  for (const std::string name : {"link", "other"}) {
    EXPECT_EQ(failure_of([&] { NewFile file(name); }), name + ": is a symbolic link to a file that does not exist");
  }
  EXPECT_TRUE(fs::is_empty("folder"));
}

TEST(NewFile, LinksInACircleAreRefused) {
  const test::Workplace place;
  fs::create_symlink("one", "two");
  fs::create_symlink("two", "one");
  EXPECT_EQ(failure_of([] { NewFile("one"); }), "one: cannot be written: Too many levels of symbolic links");
  EXPECT_EQ(failure_of([] { NewFile("one/out"); }), "one/out: Too many levels of symbolic links");
  EXPECT_EQ(place.files(), (Names{"one", "two"}));
}

TEST(NewFile, LinksToWhereTheUserSeesNothingAreRefused) {
  const test::Workplace place;
  fs::create_directory("locked");
  fs::permissions("locked", fs::perms::none);
  fs::create_symlink("locked/out", "link");
  fs::permissions(".", fs::perms::all);
  EXPECT_TRUE(holds_for_users([] {
    return failure_of([] { NewFile("link"); }) == "link: cannot be written: Permission denied" &&
           failure_of([] { NewFile("locked/out"); }) == "locked/out: cannot be written: Permission denied";
  }));
  EXPECT_EQ(place.files(), (Names{"link", "locked"}));
}

// As in /tmp.
TEST(NewFile, LinksOfOthersInStickyFoldersAreRefused) {
  const std::string setting = "/proc/sys/fs/protected_symlinks";
  if (geteuid() != 0 || !fs::exists(setting) || test::read_file(setting) != "1\n") {
    GTEST_SKIP() << "only root can make links of others, and this system follows them (fs.protected_symlinks)";
  }
  const test::Workplace place;
  place.write("victim", "of root");
  fs::create_directory("sticky");
  fs::permissions("sticky", fs::perms{01777});
  fs::create_symlink("../victim", "sticky/link");
  fs::create_symlink("../none", "sticky/dangling");
  for (const char* link : {"sticky/link", "sticky/dangling"}) {
    ASSERT_EQ(lchown(link, kNobody, kNobody), 0);
    EXPECT_EQ(failure_of([&] { NewFile file(link); }), std::string(link) + ": cannot be written: Permission denied");
  }
  EXPECT_EQ(test::read_file("victim"), "of root");
}

TEST(NewFile, LinksOnTheWayAreFollowed) {
  const test::Workplace place;
  fs::create_directories("far/away");
  fs::create_directory_symlink("far", "near");
  place.write("far/away/target", "old");
  fs::create_symlink("near/away/target", "link");
  NewFile("link").commit();
  NewFile("near/out").commit();
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(test::read_file("far/away/target"), "");
  EXPECT_TRUE(fs::is_regular_file("far/out"));
}

TEST(NewFile, StaysInTheFolderThatItWasMadeIn) {
  const test::Workplace place;
  fs::create_directory("folder");
  fs::create_directory("other");
  NewFile file("folder/out");
  fs::rename("folder", "moved");
  fs::create_directory_symlink("other", "folder");
  file.commit();
  EXPECT_TRUE(fs::is_regular_file("moved/out"));
  EXPECT_TRUE(fs::is_empty("other"));
}

TEST(NewFile, WhatMustNotBeReplacedIsNotWhenItComesMeanwhile) {
  const test::Workplace place;
  place.write("target", "old");
  {
    NewFile file("out");
    fs::create_symlink("target", "out");
    EXPECT_EQ(failure_of([&] { file.commit(); }), "out: is not a regular file");
  }
  {
    NewFile file("target");
    fs::remove("target");
    fs::create_directory("target");
    EXPECT_EQ(failure_of([&] { file.commit(); }), "target: is a directory");
  }
  EXPECT_EQ(place.files(), (Names{"out", "target"}));
}

// ------------------------------------------------------------------------------------------------------------------
// Existing files that stay
// ------------------------------------------------------------------------------------------------------------------

constexpr const char* kRefusal = "out: already exists; replace it with --overwrite";

TEST(NewFile, ExistingFilesStayWhereThatIsAskedFor) {
  const test::Workplace place;
  place.write("out", "old");
  EXPECT_EQ(failure_of([] { NewFile("out", Existing::kIsRefused); }), kRefusal);
  fs::create_symlink("out", "link");
  EXPECT_NE(failure_of([] { NewFile("link", Existing::kIsRefused); }), "none");
  EXPECT_EQ(test::read_file("out"), "old");
  EXPECT_EQ(place.files(), (Names{"link", "out"}));
}

// Also on file systems that know no such renaming (NFS), and no links either (FAT).
TEST(NewFile, FilesThatComeMeanwhileStayToo) {
  const test::Workplace place;
  for (const std::map<std::string, int>& errors :
       {std::map<std::string, int>{}, {{"renameat2", EINVAL}}, {{"renameat2", EINVAL}, {"linkat", EPERM}}}) {
    {
      NewFile file("out", Existing::kIsRefused);
      place.write("out", "of another");
      Watch watch;
      watch.errors = errors;
      EXPECT_EQ(failure_of([&] { file.commit(); }), kRefusal);
    }
    EXPECT_EQ(test::read_file("out"), "of another");
    fs::remove("out");
    NewFile file("out", Existing::kIsRefused);
    Watch watch;
    watch.errors = errors;
    file.commit();
    EXPECT_EQ(place.files(), Names{"out"});
    fs::remove("out");
  }
}

TEST(NewFile, OfTwoThatMakeTheSameFileOneWins) {
  const test::Workplace place;
  constexpr int kRounds = 300;
  std::barrier together(2);
  int made = 0;
  std::thread other([&] {
    for (int round = 0; round < kRounds; ++round) {
      const std::string name = std::to_string(round);
      together.arrive_and_wait();
      const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
      if (descriptor < 0) continue;
      ++made;
      close(descriptor);
    }
  });
  int written = 0;
  for (int round = 0; round < kRounds; ++round) {
    NewFile file(std::to_string(round), Existing::kIsRefused);
    std::fputs("new", file.stream());
    together.arrive_and_wait();
    const bool is_written = failure_of([&] { file.commit(frames::Names::kLater); }) == "none";
    written += is_written ? 1 : 0;
    EXPECT_EQ(test::read_file(std::to_string(round)), is_written ? "new" : "");
  }
  other.join();
  EXPECT_EQ(made + written, kRounds);
}

// ------------------------------------------------------------------------------------------------------------------
// Power cuts
// ------------------------------------------------------------------------------------------------------------------

TEST(NewFile, BytesAreSafeBeforeTheNameAndTheNameBeforeItCounts) {
  const test::Workplace place;
  for (const auto& [existing, rename] :
       {std::pair(Existing::kIsReplaced, "renameat out"), std::pair(Existing::kIsRefused, "renameat2 out")}) {
    Watch watch;
    NewFile file("out", existing);
    std::fputs("12345", file.stream());
    file.commit();
    EXPECT_EQ(watch.calls, (Names{"flock", "fsync 5 bytes", rename, "fsync folder"}));
    fs::remove("out");
  }
}

TEST(NewFile, NamesInAFolderCanBeMadeSafeAtOnce) {
  const test::Workplace place;
  Watch watch;
  NewFile file("out");
  file.commit(frames::Names::kLater);
  EXPECT_EQ(watch.calls.back(), "renameat out");
  frames::sync_folder(frames::output_place("out").folder, "out");
  EXPECT_EQ(watch.calls.back(), "fsync folder");
}

TEST(NewFile, BytesThatAreNotSafeAreAFailure) {
  const test::Workplace place;
  {
    NewFile file("out");
    Watch watch;
    watch.errors = {{"fsync", EIO}};
    EXPECT_EQ(failure_of([&] { file.commit(); }), "out: cannot be written: Input/output error");
  }
  EXPECT_EQ(place.files(), Names{});
}

TEST(NewFile, FileSystemsNeedKnowNoLocksAndNoSyncs) {
  const test::Workplace place;
  for (const int error : {EINVAL, ENOTSUP, ENOSYS}) {
    Watch watch;
    watch.errors = {{"fsync", error}, {"flock", error}};
    NewFile file("out");
    std::fputs("bytes", file.stream());
    file.commit();
    EXPECT_EQ(test::read_file("out"), "bytes");
  }
}

TEST(NewFile, FoldersNeedNotBeReadable) {
  const test::Workplace place;
  fs::create_directory("folder");
  fs::permissions("folder", fs::perms{0333});
  fs::permissions(".", fs::perms::all);
  EXPECT_TRUE(holds_for_users([] { return failure_of([] { NewFile("folder/out").commit(); }) == "none"; }));
  EXPECT_TRUE(fs::exists("folder/out"));
}

// ------------------------------------------------------------------------------------------------------------------
// Files that killed processes have left
// ------------------------------------------------------------------------------------------------------------------

// A process that writes "out" and does not finish.
pid_t start_writing() {
  std::array<int, 2> ready{};
  EXPECT_EQ(pipe(ready.data()), 0);
  const pid_t process = fork();
  if (process == 0) {
    NewFile file("out");
    std::fputs("half", file.stream());
    std::fflush(file.stream());
    close(ready[1]);
    for (;;) pause();
  }
  close(ready[1]);
  char byte = 0;
  while (read(ready[0], &byte, 1) < 0) {
  }
  close(ready[0]);
  return process;
}

void end(pid_t process) {
  kill(process, SIGKILL);
  waitpid(process, nullptr, 0);
}

class LeftFiles : public testing::Test {
 protected:
  void run_the_program() const {
    const test::Result result = place_.xrdimage("sample --size 64 --overwrite frame");
    EXPECT_EQ(result.status, 0) << result.err;
  }
  // All but the frame.
  Names files() const {
    Names names = place_.files();
    std::erase(names, "frame");
    return names;
  }
  test::Workplace place_;
};

TEST_F(LeftFiles, AreRemovedByTheNextRun) {
  end(start_writing());
  ASSERT_EQ(files().size(), 1U);
  run_the_program();
  EXPECT_EQ(files(), Names{});
}

TEST_F(LeftFiles, AreRemovedByABatch) {
  run_the_program();
  fs::create_directory("edf");
  fs::copy_file("frame", "other");
  fs::current_path("edf");
  end(start_writing());
  fs::current_path("..");
  EXPECT_EQ(std::distance(fs::directory_iterator("edf"), {}), 1);
  EXPECT_EQ(place_.xrdimage("convert frame other -o edf/ --to edf").status, 0);
  EXPECT_EQ(std::distance(fs::directory_iterator("edf"), {}), 2);
}

TEST_F(LeftFiles, ThoseOfLivingProcessesStay) {
  const pid_t process = start_writing();
  const Names before = files();
  ASSERT_EQ(before.size(), 1U);
  run_the_program();
  EXPECT_EQ(files(), before);
  end(process);
  run_the_program();
  EXPECT_EQ(files(), Names{});
}

// Where locks are not shared by computers a file that can be locked may still be written.
TEST_F(LeftFiles, ThoseOfOtherComputersStayForADay) {
  const Names names{".xrdimage-77-0.part", ".xrdimage-elsewhere.77-0.part"};  // the first as version 1.0 named them
  for (const std::string& name : names) place_.write(name, "half");
  run_the_program();
  EXPECT_EQ(files(), names);
  for (const std::string& name : names) {
    fs::last_write_time(name, fs::file_time_type::clock::now() - std::chrono::hours(25));
  }
  run_the_program();
  EXPECT_EQ(files(), Names{});
}

TEST_F(LeftFiles, WhatOthersMayHavePutThereStays) {
  end(start_writing());
  const std::string name = files().at(0);
  const auto like = [&](const std::string& number) { return name.substr(0, name.rfind('-') + 1) + number + ".part"; };
  place_.write("file", "of the user");
  fs::rename(name, like("10"));
  fs::create_hard_link(like("10"), "second name");
  fs::create_symlink("file", like("11"));
  fs::create_directory(like("12"));
  ASSERT_EQ(mkfifo(like("13").c_str(), 0600), 0);
  place_.write(like("14"), "half");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(like("14").c_str(), kNobody, kNobody), 0);
  } else {
    fs::remove(like("14"));
  }
  place_.write(like("15") + ".txt", "of another kind");
  const Names before = files();
  run_the_program();
  EXPECT_EQ(files(), before);
  EXPECT_EQ(test::read_file("file"), "of the user");
}

TEST_F(LeftFiles, WithoutLocksTheyStay) {
  end(start_writing());
  const Names before = files();
  const pid_t process = fork();  // which looks at this folder for the first time
  if (process == 0) {
    Watch watch;
    watch.errors = {{"flock", ENOLCK}};
    frames::remove_left_files(frames::output_place("out").folder.number());
    const bool stayed = files() == before;
    watch.errors.clear();
    _exit(stayed ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(process, &status, 0), process);
  EXPECT_EQ(status, 0);
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

}  // namespace
