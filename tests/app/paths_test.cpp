// Where the program keeps its files. The move from the
// earlier name happens once per process; the tests of the built program look at it.
#include "app/paths.h"
#include "test.h"

namespace {

TEST(Paths, the_configuration_directory_follows_the_environment) {
  Home home;
  const mode_t mask = umask(0);
  EXPECT_EQ(paths::config_dir(), home.path() / "config/Velmora");
  umask(mask);
  for (const fs::path& created : {home.config(), home.config().parent_path()})
    EXPECT_EQ(fs::status(created).permissions(), fs::perms::owner_all) << created;
  home.set("XDG_CONFIG_HOME", "");
  EXPECT_EQ(paths::config_dir(), home.path() / ".config/Velmora");
  home.set("HOME", "");
  const fs::path before = fs::current_path();
  fs::current_path(home.path());
  EXPECT_EQ(paths::config_dir(), ".Velmora");
  EXPECT_EQ(fs::status(".Velmora").permissions(), fs::perms::owner_all);
  // In a directory of others: used only if nobody else can have prepared it.
  fs::permissions(".Velmora", fs::perms::group_write, fs::perm_options::add);
  EXPECT_FALSE(fs::exists(paths::config_dir()));
  fs::permissions(".Velmora", fs::perms::owner_all);
  fs::rename(".Velmora", "private");
  fs::create_symlink("private", ".Velmora");
  EXPECT_FALSE(fs::exists(paths::config_dir()));
  home.set("XDG_CONFIG_HOME", "x");  // relative, and as short as a name can be
  EXPECT_EQ(paths::config_dir(), "x/Velmora");
  EXPECT_TRUE(fs::is_directory("x/Velmora"));
  fs::current_path(before);
}

}  // namespace
