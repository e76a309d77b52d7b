// Where the program keeps its files and what it reads from the environment. The move from the
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

TEST(Paths, the_language_is_that_of_the_first_variable_that_names_one) {
  using Variables = std::vector<std::pair<const char*, const char*>>;
  const std::vector<std::pair<Variables, std::string>> cases = {
      {{}, "en"},
      {{{"LANG", "de_DE.UTF-8"}}, "de_DE"},
      {{{"LANG", "sr_RS@latin"}}, "sr_RS"},
      {{{"LANGUAGE", "pt_BR:en"}, {"LANG", "de_DE"}}, "pt_BR"},
      {{{"LANGUAGE", ":de"}, {"LC_ALL", "fr_FR"}}, "fr_FR"},
      {{{"LC_ALL", "C"}, {"LC_MESSAGES", "it"}, {"LANG", "de"}}, "it"},
      {{{"LC_MESSAGES", "x"}, {"LANG", "de"}}, "de"},
      {{{"TRSL_LANG", "ar"}, {"LANGUAGE", "de"}, {"LC_ALL", "fr"}}, "ar"},
  };
  for (const auto& [variables, language] : cases) {
    Home home;
    std::string text;
    for (const auto& [name, value] : variables) {
      home.set(name, value);
      text += std::string(name) + "=" + value + " ";
    }
    EXPECT_EQ(paths::system_language(), language) << text;
  }
}

}  // namespace
