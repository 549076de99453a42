// The Kerberos helpers and the local agent's settings of the LDAP backend, against the
// local DC's KDC and winbind.
#include "directory/library/kerberos.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "directory/library/settings.h"
#include "samba_target.h"

namespace conformance {
namespace {

// Runs a shell command. Under the sanitizer build the shell and what it starts get the
// rig's wrappers alone, without the sanitizer runtimes this program was started with.
int Shell(const std::string& command) {
  if (const char* child = getenv("ZS_CHILD_PRELOAD")) setenv("LD_PRELOAD", child, 1);
  return system(command.c_str());
}

SambaTarget& Dc() {
  static SambaTarget target;
  return target;
}

// Sets (or with a null value removes) an environment variable for the lifetime of the object.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    const char* old = getenv(name);
    if (old) {
      had_ = true;
      old_ = old;
    }
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (had_) {
      setenv(name_.c_str(), old_.c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

 private:
  std::string name_;
  bool had_ = false;
  std::string old_;
};

std::string ReadFile(const std::string& path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

class KerberosTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Usable(Dc())) return;
    char dir[] = "/tmp/zs-kerberos-test-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    dir_ = dir;
  }
  void TearDown() override {
    if (!dir_.empty()) {
      ASSERT_EQ(Shell("rm -rf '" + dir_ + "'"), 0);
    }
  }

  kesh::KerberosCreds AdminCreds(kesh::KerberosContext& context) {
    kesh::KerberosCreds creds;
    std::string error;
    EXPECT_EQ(kesh::getCredentials(context, Dc().adminPrincipal(), Dc().adminPassword(), creds,
                                   error, kesh::DEFAULT_TICKET_LIFETIME, nullptr),
              0)
        << error;
    return creds;
  }

  std::string dir_;
};

TEST_F(KerberosTest, BrokenConfigurationIsMovedAsideAndTheContextStillComesUp) {
  std::string conf = dir_ + "/krb5.conf";
  std::ofstream(conf) << "[libdefaults\n  default_realm = {\n";
  std::ofstream(conf + ".bad") << "an older broken file\n";
  ScopedEnv env("KRB5_CONFIG", conf.c_str());
  kesh::KerberosContext context;
  EXPECT_NE(context.get(), nullptr);
  EXPECT_FALSE(Exists(conf));
  EXPECT_EQ(ReadFile(conf + ".bad"), "[libdefaults\n  default_realm = {\n");

  // A sound file is left alone.
  std::ofstream(conf) << "[libdefaults]\n  default_realm = EXAMPLE.TEST\n";
  kesh::KerberosContext again;
  EXPECT_TRUE(Exists(conf));
}

TEST_F(KerberosTest, FileCacheLifecycle) {
  kesh::KerberosContext context;
  kesh::KerberosCreds creds = AdminCreds(context);
  std::string name = kesh::Krb5CredentialsCache::genUserCCache(context, getuid());
  ASSERT_EQ(name.compare(0, 6, "FILE:/"), 0) << name;
  std::string path = name.substr(5);
  EXPECT_TRUE(Exists(path));
  EXPECT_NE(name, kesh::Krb5CredentialsCache::genUserCCache(context, getuid()));

  ScopedEnv env("KRB5CCNAME", name.c_str());
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(getuid(), false), "") << "empty file";

  kesh::storeTGT(context, Dc().adminPrincipal(), name, creds, getuid(), getgid());
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(name), Dc().adminPrincipal());
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(getuid(), true), name);

  kesh::Krb5CredentialsCache::clearCCache(name, false);
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(getuid(), true), "") << "no ticket left";
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(getuid(), false), name);
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(name), Dc().adminPrincipal());

  kesh::Krb5CredentialsCache::clearCCache(name, true);
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(getuid(), false), "");
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(name), "");

  // Without KRB5CCNAME the cache of a user is /tmp/krb5cc_<uid>.
  ScopedEnv none("KRB5CCNAME", nullptr);
  EXPECT_EQ(kesh::Krb5CredentialsCache::findUserCCache(4242421, false), "");
}

TEST_F(KerberosTest, PasswordCallbackRefillsAnEmptiedCacheWhileConnecting) {
  kesh::KerberosContext context;
  kesh::KerberosCreds creds = AdminCreds(context);
  std::string cache = "MEMORY:" + UniqueName("zs-callback");
  kesh::storeTGT(context, Dc().adminPrincipal(), cache, creds, getuid(), getgid());
  kesh::Krb5CredentialsCache::clearCCache(cache, false);  // the principal stays, no ticket

  auto plain = kesh::NewADBinding(Dc().domain(), cache, false, "", "", nullptr);
  EXPECT_THROW(plain->connect("", "", 0), KESHException);

  auto wrong = kesh::NewADBinding(Dc().domain(), cache, false, "", "", nullptr);
  wrong->passwordCallback = kesh::gic_with_password_callback;
  wrong->passwordCallbackData = std::make_shared<Shredder>("not the password");
  EXPECT_THROW(wrong->connect("", "", 0), KESHException);

  auto binding = kesh::NewADBinding(Dc().domain(), cache, false, "", "", nullptr);
  binding->passwordCallback = kesh::gic_with_password_callback;
  binding->passwordCallbackData = std::make_shared<Shredder>(Dc().adminPassword());
  ASSERT_NO_THROW(binding->connect("", "", 0));
  EXPECT_TRUE(binding->connected());
  // The ticket went into the binding's cache: a binding without callback works now.
  auto after = kesh::NewADBinding(Dc().domain(), cache, false, "", "", nullptr);
  EXPECT_NO_THROW(after->connect("", "", 0));
  kesh::Krb5CredentialsCache::clearCCache(cache, true);
}

TEST_F(KerberosTest, SetPasswordUsingCCacheSetsAUsersPassword) {
  auto binding = kesh::NewADBinding(Dc().domain(), Dc().adminCCache(), false, "", "", nullptr);
  binding->connect("", "", 0);
  std::string account = "zsk" + std::to_string(getpid() % 1000000);
  ADObject user =
      LDAPBinding::createChild("CN=Users," + DN::dnFromDomain(Dc().domain()), account, "CN");
  user[AD_OBJECT_CLASS] = "user";
  user[AD_SAM_ACCOUNT_NAME] = account;
  binding->add(user);

  std::string principal = account + "@" + Env("ZS_DC_REALM");
  kesh::KerberosContext context;
  std::string error;
  const Shredder password("Zs-N3w-pass-" + account);
  EXPECT_EQ(kesh::setPasswordUsingCCache(context, Dc().adminCCache(), principal, password, error),
            0)
      << error;
  ADObject enable(user.dn());
  enable["userAccountControl"] = 512;  // a normal, enabled account
  binding->update(enable, 2);

  kesh::KerberosCreds creds;
  EXPECT_EQ(kesh::getCredentials(context, principal, password, creds, error,
                                 kesh::DEFAULT_TICKET_LIFETIME, nullptr),
            0)
      << error;
  EXPECT_NE(kesh::setPasswordUsingCCache(context, "MEMORY:" + UniqueName("zs-nothing"), principal,
                                         password, error),
            0);
  EXPECT_FALSE(error.empty());
  binding->remove(user, false);
}

TEST_F(KerberosTest, MachineCacheComesFromTheSystemKeytab) {
  std::string missing = "FILE:" + dir_ + "/missing.keytab";
  {
    ScopedEnv env("KRB5_KTNAME", missing.c_str());
    EXPECT_EQ(kesh::ADHelper::GetMachineCredCache(), "") << "not joined";
  }
  // The DC's own account stands in for a joined machine.
  std::string host = Env("ZS_DC_HOST");
  std::string machine = host.substr(0, host.find('.'));
  for (char& c : machine) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
  machine += "$";
  std::string keytab = dir_ + "/machine.keytab";
  std::string command = "env -u LD_PRELOAD samba-tool domain exportkeytab '" + keytab +
                        "' --principal='" + machine + "' -s '" + Env("ZS_DC_SMBCONF") +
                        "' >/dev/null 2>&1";
  ASSERT_EQ(Shell(command), 0) << command;
  std::string ktname = "FILE:" + keytab;
  ScopedEnv env("KRB5_KTNAME", ktname.c_str());
  std::string cache = kesh::ADHelper::GetMachineCredCache();
  ASSERT_FALSE(cache.empty());
  EXPECT_EQ(cache.compare(0, 7, "MEMORY:"), 0) << cache;
  EXPECT_EQ(kesh::Krb5CredentialsCache::getUPN(cache), machine + "@" + Env("ZS_DC_REALM"));
  auto binding = kesh::NewADBinding(Dc().domain(), cache, false, "", "", nullptr);
  EXPECT_NO_THROW(binding->connect("", "", 0));
}

TEST(KvrGetpassTest, ReadsPlainLinesFromAPipe) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  const char input[] = "secret\nsecond\r\nlast without newline";
  ASSERT_EQ(write(fds[1], input, sizeof(input) - 1), static_cast<ssize_t>(sizeof(input) - 1));
  close(fds[1]);
  int saved = dup(STDIN_FILENO);
  dup2(fds[0], STDIN_FILENO);
  close(fds[0]);
  std::string answers[4];
  for (std::string& a : answers) a = kesh::kvr_getpass("password: ");
  dup2(saved, STDIN_FILENO);
  close(saved);
  EXPECT_EQ(answers[0], "secret");
  EXPECT_EQ(answers[1], "second");
  EXPECT_EQ(answers[2], "last without newline");
  EXPECT_EQ(answers[3], "") << "end of input";
}

TEST(KvrGetpassTest, TerminalDoesNotEchoThePassword) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  std::string slave = ptsname(master);
  int result[2];
  ASSERT_EQ(pipe(result), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setsid();
    int tty = open(slave.c_str(), O_RDWR);
    dup2(tty, STDIN_FILENO);
    dup2(tty, STDOUT_FILENO);
    dup2(tty, STDERR_FILENO);
    Shredder answer = kesh::kvr_getpass("password: ");
    ssize_t n = write(result[1], answer.data(), answer.size());
    _exit(n == static_cast<ssize_t>(answer.size()) ? 0 : 1);
  }
  close(result[1]);
  // Reads what `fd` gives within `ms`; false on silence or end of input.
  auto readSome = [&](int fd, std::string& into, int ms = 5000) {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, ms) <= 0) return false;
    char buffer[256];
    ssize_t n = read(fd, buffer, sizeof(buffer));
    if (n <= 0) return false;
    into.append(buffer, static_cast<size_t>(n));
    return true;
  };
  // Wait for the prompt, then type.
  std::string screen;
  while (screen.find("password: ") == std::string::npos && readSome(master, screen)) {
  }
  EXPECT_NE(screen.find("password: "), std::string::npos) << "no prompt";
  ASSERT_EQ(write(master, "hunter2\n", 8), 8);
  std::string typed;
  while (readSome(result[0], typed)) {
  }
  kill(child, SIGKILL);  // in case it still waits for input
  int status = 0;
  waitpid(child, &status, 0);
  // What the terminal showed after the prompt.
  while (readSome(master, screen, 200)) {
  }
  close(master);
  close(result[0]);
  EXPECT_EQ(typed, "hunter2");
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(screen.find("hunter2"), std::string::npos) << screen;
}

TEST_F(KerberosTest, SettingsComeFromWinbind) {
  EXPECT_EQ(kesh::GetSetting(kesh::SETTING_DOMAIN_NAME, "none", false), Dc().domain());
  std::string host = kesh::GetSetting(kesh::SETTING_HOST_NAME, "", false);
  EXPECT_NE(host.find('.'), std::string::npos) << host;
  EXPECT_EQ(kesh::GetSetting(kesh::SETTING_ZONE_REALNAME, "no zone", false), "no zone");
  EXPECT_EQ(kesh::loadSetting("no.such.key", false, true), "");

  // No winbind to ask: not joined.
  ScopedEnv env("SELFTEST_WINBINDD_SOCKET_DIR", dir_.c_str());
  EXPECT_EQ(kesh::GetSetting(kesh::SETTING_DOMAIN_NAME, "none", false), "none");
}

}  // namespace
}  // namespace conformance
