// The settings file: what happens to it when it is damaged, when the disk is full and when the
// program dies.

#include "app/device_presets.h"
#include "app/logger.h"
#include "app/settings.h"
#include "records.h"
#include "test.h"

namespace {

// A disk that takes its time, or not.
struct Disk {
  std::atomic<bool> slow{false};
  std::atomic<int> syncs{0};
} g_disk;

}  // namespace

// In the place of the C library's.
extern "C" int fsync(int /*fd*/) {
  ++g_disk.syncs;
  while (g_disk.slow)
    std::this_thread::sleep_for(1ms);
  return 0;
}

namespace {

class SettingsFile : public Test {
 protected:
  Home home_;
  const fs::path path_ = home_.config() / "settings.dat";
  const fs::path temporary_ = home_.config() / "settings.dat.tmp";
  const fs::path aside_ = home_.config() / "settings.dat.manipuliert";
};

TEST_F(SettingsFile, what_is_saved_is_loaded_and_nothing_gives_the_initial_settings) {
  EXPECT_EQ(settings::load(), Settings());
  write_file(path_, "");
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_FALSE(fs::exists(aside_));
  fs::remove(path_);
  ASSERT_TRUE(settings::save(changed_settings()));
  EXPECT_EQ(settings::load(), changed_settings());
  EXPECT_FALSE(fs::exists(temporary_));
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms{0600});
}

// "theme=light\nwin_w=1280\n" as earlier runs have sealed it, by another implementation: magic and
// version, nonce, authentication code, cipher.
const std::string kEarlier =
    "TRSL\x01"
    "nonce of twenty-four b.."
    "\x4c\x1c\xbf\xff\x1e\x9b\x8f\x30\x77\xce\x2c\x56\x97\x26\x5c\xae"
    "\x64\x95\x69\x15\x1a\x69\xa7\x09\xd8\x32\xee\x27\x18\xe6\xba\x23\xc9\x22\xb6\x66\x98\x47\xa4";

TEST_F(SettingsFile, of_an_earlier_run_is_read_and_whatever_was_altered_is_moved_aside) {
  write_file(path_, kEarlier);
  EXPECT_EQ(settings::load().theme, "light");
  EXPECT_EQ(settings::load().win_w, 1280);
  std::vector<std::string> altered = {kEarlier + "x", "theme=light\n" + std::string(100, ' ')};
  for (std::size_t at = 0; at < kEarlier.size(); ++at) {
    altered.push_back(kEarlier);
    altered.back()[at] ^= '\x10';
    if (at > 0) altered.push_back(kEarlier.substr(0, at));
  }
  for (const std::string& bytes : altered) {
    write_file(path_, bytes);
    ASSERT_EQ(settings::load(), Settings()) << PrintToString(bytes);
    ASSERT_THAT(logger::tail(1), ElementsAre(EndsWith("WARN  Settings damaged - moved aside as " +
                                                      aside_.string())));
    ASSERT_EQ(read_file(aside_), bytes);
  }
  // A hole takes no room, but would take memory.
  write_file(path_, "TRSL\x01");
  fs::resize_file(path_, std::uintmax_t{1} << 40U);
  EXPECT_EQ(settings::load(), Settings());
  EXPECT_FALSE(fs::exists(path_));
}

TEST_F(SettingsFile, is_never_sealed_twice_with_the_same_nonce) {
  ASSERT_TRUE(settings::save(Settings()));
  const std::string first = read_file(path_);
  ASSERT_TRUE(settings::save(Settings()));
  for (std::size_t at = 5; at < 29; at += 4)
    EXPECT_NE(first.substr(at, 4), read_file(path_).substr(at, 4)) << "not random from " << at;
}

TEST_F(SettingsFile, that_cannot_be_read_is_kept_as_it_is_until_the_user_changes_something) {
  write_file(home_.config() / "settings.dat.unread", "from another run");
  const std::function<void()> unreadable[] = {
      [&] { fs::create_directories(path_ / "in the way"); },
      [&] { ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0); },     // nobody will ever write to it
      [&] { fs::create_symlink("/proc/self/mem", path_); }};  // a file that cannot be read
  int number = 2;
  for (const auto& make : unreadable) {
    make();
    const fs::file_type type = fs::symlink_status(path_).type();
    Settings s = settings::load();
    EXPECT_EQ(s, Settings());
    EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith("Settings not readable: " + path_.string())));
    s.win_w = 1280;  // the window was resized
    s.last_default = "sink";
    EXPECT_TRUE(settings::save(s));
    EXPECT_EQ(fs::symlink_status(path_).type(), type) << "nothing is moved, nothing replaced";
    s.theme = "light";
    EXPECT_TRUE(settings::save(s));
    const std::string kept = path_.string() + ".unread" + std::to_string(number++);
    EXPECT_THAT(logger::tail(1),
                ElementsAre(EndsWith("Settings that could not be read are kept as " + kept)));
    EXPECT_EQ(fs::symlink_status(kept).type(), type);
    EXPECT_TRUE(settings::save(s));
    EXPECT_FALSE(fs::exists(path_.string() + ".unread" + std::to_string(number)));
    EXPECT_EQ(settings::load(), s);
    fs::remove(path_);
  }
  EXPECT_FALSE(fs::exists(aside_));
}

TEST_F(SettingsFile, of_devices_holds_the_hundred_that_were_played_to_last_and_is_kept_like_it) {
  const fs::path file = home_.config() / "devices.dat";
  DevicePresets devices = device_presets::load();
  EXPECT_EQ(devices, DevicePresets());
  devices.on = true;
  for (int i = 0; i <= 100; ++i)
    devices.remember({"port=" + std::to_string(i), "u:Küche", {{-3.5F, 1}, 2}});
  EXPECT_EQ(devices.find("port=0"), nullptr);
  devices.remember({"port=1", "b:preset_rock", {}});
  EXPECT_EQ(devices.devices.front().device, "port=2");
  ASSERT_TRUE(device_presets::save(devices));
  EXPECT_EQ(device_presets::load(), devices);
  write_file(file, read_file(file) + "x");
  EXPECT_EQ(device_presets::load(), DevicePresets());
  EXPECT_THAT(logger::tail(1),
              ElementsAre(EndsWith("WARN  Device presets damaged - moved aside as " +
                                   file.string() + ".manipuliert")));
  fs::create_directories(file / "in the way");
  EXPECT_EQ(device_presets::load(), DevicePresets());
  EXPECT_TRUE(device_presets::save(DevicePresets()) && fs::is_directory(file));
  EXPECT_TRUE(device_presets::save(devices));
  EXPECT_TRUE(fs::is_directory(file.string() + ".unread"));
  EXPECT_EQ(device_presets::load(), devices);
}

TEST_F(SettingsFile, a_save_that_fails_leaves_the_old_file_to_the_byte) {
  ASSERT_TRUE(settings::save(changed_settings()));
  const std::string before = read_file(path_);
  const auto expect_failure = [&](const std::string& line) {
    EXPECT_FALSE(settings::save(Settings()));
    EXPECT_THAT(logger::tail(1), ElementsAre(EndsWith(line)));
    EXPECT_EQ(read_file(path_), before);
  };
  fs::create_symlink(path_, temporary_);
  expect_failure("ERROR Settings not writable: " + temporary_.string());
  fs::remove(temporary_);
  const FullDisk full(100);
  expect_failure("ERROR Settings not completely written");
}

TEST_F(SettingsFile, is_written_by_a_thread_that_takes_the_newest_record_and_keeps_nobody_waiting) {
  g_disk.syncs = 0;
  g_disk.slow = true;
  settings::start_saver([] {});
  Settings s;
  DevicePresets devices;
  for (int width = 1; width <= 3; ++width) {
    s.win_w = width;
    devices.remember({std::to_string(width), "", {}});
    EXPECT_TRUE(device_presets::save(devices));
    EXPECT_TRUE(settings::save(s));
    ASSERT_TRUE(wait_until("the first save waits for the disk", 20s,
                           [] { return g_disk.syncs.load() > 0; }));
  }
  EXPECT_FALSE(fs::exists(path_));
  g_disk.slow = false;
  settings::stop_saver();
  EXPECT_EQ(settings::load(), s);
  EXPECT_EQ(device_presets::load(), devices);
  // Of a file and its directory each time: the records in the middle were never written.
  EXPECT_GE(g_disk.syncs.load(), 6);
  EXPECT_LE(g_disk.syncs.load(), 8);
  // What could not be written is written with the next record of either file.
  for (const bool first : {true, false}) {
    const fs::path in_the_way = first ? temporary_ : home_.config() / "devices.dat.tmp";
    fs::create_directories(in_the_way);
    settings::start_saver([] {});
    s.win_w += 1;
    devices.on = !first;
    const auto log = logger::tail(500);  // all that is kept
    first ? settings::save(s) : device_presets::save(devices);
    ASSERT_TRUE(wait_until("it fails", 20s, [&] { return logger::tail(500) != log; }));
    fs::remove(in_the_way);
    first ? device_presets::save(devices) : settings::save(s);
    settings::stop_saver();
    EXPECT_EQ(settings::load(), s);
    EXPECT_EQ(device_presets::load(), devices);
  }
  // A record that changes while its predecessor fails is the one that is written.
  const fs::path file = home_.config() / "devices.dat";
  fs::remove(file);
  fs::create_directories(file / "in the way");
  g_disk.slow = true;
  g_disk.syncs = 0;
  settings::start_saver([] {});
  for (int i = 0; i < 2; ++i) {
    devices.on = !devices.on;
    device_presets::save(devices);
    ASSERT_TRUE(wait_until("it waits for the disk", 20s, [] { return g_disk.syncs.load() > 0; }));
  }
  const auto log = logger::tail(500);
  g_disk.slow = false;
  ASSERT_TRUE(wait_until("it fails", 20s, [&] { return logger::tail(500) != log; }));
  fs::remove_all(file);
  settings::save(s);
  settings::stop_saver();
  EXPECT_EQ(device_presets::load(), devices);
  // The end does not wait for a disk that stays full.
  fs::create_directories(temporary_);
  settings::start_saver([] {});
  settings::save(s);
  settings::stop_saver();
}

}  // namespace
