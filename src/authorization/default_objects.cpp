// The predefined objects of a new store: PAM rights, the roles of hierarchical stores, and
// the security descriptor of a classic store's admin manager.
#include <string>
#include <vector>

#include "authorization/qv.h"
#include "authorization/right.h"
#include "authorization/role.h"
#include "directory/cli_orlutils.h"
#include "directory/ldap.h"
#include "directory/library/constants.h"
#include "directory/library/exceptions.h"
#include "directory/library/logger.h"
#include "directory/library/sam_parser.h"
#include "directory/principal.h"
#include "security/sddl.h"

namespace {

const char kRdnType[] = "cn";
const char kLoggerName[] = "cli.zonesmith";
// Operation ID of a PAM right: its type with the low part 1.
constexpr unsigned kPamOperationId = RIGHT_TYPE_PAM | 1;
constexpr bool kVisible = true;

struct PamDefault {
  const char* application;
  const char* description;
};

// The PAM applications of a new classic store, in the order they are created.
const PamDefault kClassicPamApps[] = {
    {"ftp", "PAM application for ftp on Solaris, HP-UX, Debian, IRIX, CentOS, Ubuntu"},
    {"login",
     "PAM application for: telnet - on Debian, Ubuntu, HPUX, SuSE. rlogin - on HPUX, SuSE 11. "
     "rsh - on HPUX"},
    {"remote",
     "PAM application for: telnet - on RedHat, Fedora, CentOS, ESX 3.5, Oracle Linux, Scientific "
     "Linux. rlogin - on RedHat, Fedora, CentOS. rsh - on RedHat, Fedora, CentOS"},
    {"sshd-kbdint", "PAM application for ssh on Solaris 10."},
    {"dtlogin",
     "PAM application for logging in from the UI on Solaris and HP-UX for the Common Desktop "
     "Environment (CDE)"},
    {"pure-ftpd", "PAM application for ftp on SuSE 9"},
    {"gdm",
     "PAM application for logging in from the UI on RedHat 9, Debian 4, RedHat Enterprise Desktop "
     "5.2, Oracle Linux 5, Fedora, CentOS, Scientific Linux. Ubuntu"},
    {"vsftpd",
     "PAM application for ftp on RedHat 9, RedHat Enterprise Desktop 5.2, ESX 3.5, Oracle Linux 5, "
     "Fedora, Scientific Linux"},
    {"rlogin", "PAM application for: rlogin - on SuSE, Solaris. rsh - on SuSE, Solaris"},
    {"xdm", "PAM application for logging in from the UI on IRIX and SuSE 9."},
    {"sshd",
     "PAM application for: ssh - on all Linux and UNIX systems except Debian, AIX, and Ubuntu 6, "
     "7"},
    {"ssh", "PAM application for: ssh - on Debian, Ubuntu 6, 7"},
    {"gdm-password", "PAM application for logging in from the UI on RHEL6.x"},
    {"su", "PAM application for su on all Linux and UNIX servers."},
};

struct NGPamDefault {
  const char* cn;
  const char* data;  // the stored PAM data, as the codec writes it
  const char* description;
};

// The PAM rights of a new hierarchical store.
const NGPamDefault kNGPamApps[] = {
    {"pam-login-all", "app=*", "Predefined global PAM permission. Do not delete"},
    {"pam-ssh", "app=ssh", "PAM application for: ssh - on Ubuntu 6, 7"},
    {"pam-sshd", "app=sshd",
     "PAM application for: ssh - on all Linux and UNIX systems except Ubuntu 6, 7"},
    {"pam-qvssh-all", "app=qvssh-*", "All of ssh services"},
    {"pam-qvssh-shell", "app=qvssh-shell", "Terminal tty/pty"},
    {"pam-qvssh-exec", "app=qvssh-exec", "Command execution"},
    {"pam-qvssh-scp", "app=qvssh-scp", "scp"},
    {"pam-qvssh-sftp", "app=qvssh-sftp", "sftp"},
    {"pam-qvssh-direct-tcpip", "app=qvssh-direct-tcpip",
     "Local/Dynamic port forwarding, ssh -L, ssh -D"},
    {"pam-qvssh-tcpip-forward", "app=qvssh-tcpip-forward", "Remote port forwarding, ssh -R"},
    {"pam-qvssh-tunnel", "app=qvssh-tunnel", "Tunnel device forwarding"},
    {"pam-qvssh-x11-forwarding", "app=qvssh-x11-forwarding", "X11 forwarding"},
    {"pam-qvssh-subsystem", "app=qvssh-subsystem", "External subsystem, except subsystem sftp"},
};

struct RoleDefault {
  const char* cn;
  unsigned sysrights;
  bool allowLocalUser;
  std::vector<const char*> rights;  // cns of PAM rights above
  const char* description;
};

// The roles of a new hierarchical store, all visible.
const RoleDefault kNGRoles[] = {
    {"role-listed", 0, false, {}, "Predefined system role for visible but non-login users."},
    {"role-always permit login",
     sam::ALWAYS_PERMIT_LOGIN,
     true,
     {},
     "Predefined system role for users who are allowed to log in even when Auvelle is not "
     "functioning."},
    {"role-require MFA for login",
     SYSRIGHTS_REQUIRE_MFA,
     false,
     {},
     "Predefined system role for multi-factor authentication of users during login. Users must "
     "be enrolled in the Norvane Cloud."},
    {"role-UNIX Login",
     SYSRIGHTS_LOGIN,
     false,
     {"pam-login-all"},
     "Predefined system role for general UNIX login users."},
    {"role-scp",
     SYSRIGHTS_LOGIN,
     false,
     {"pam-ssh", "pam-sshd", "pam-qvssh-scp"},
     "Predefined system role for granting scp right without explicit SSH login."},
    {"role-sftp",
     SYSRIGHTS_LOGIN,
     false,
     {"pam-ssh", "pam-sshd", "pam-qvssh-sftp"},
     "Predefined system role for granting sftp right without explicit SSH login."},
    {"role-winscp",
     SYSRIGHTS_LOGIN,
     false,
     {"pam-ssh", "pam-sshd", "pam-qvssh-shell"},
     "Predefined system role for granting winscp right."},
};

// The descriptor of a classic store's admin manager. "LA" stands for the user who creates
// the store: Everyone reads and lists, that user has full control, and that user and
// Domain Admins manage six classes of child objects (Domain Admins create four of them).
const char CONSOLE_CLASSIC_QVSTORE_SD[] =
    "D:PAI(A;CI;RCLCRPLO;;;WD)(A;CI;SDRCWDWOCCDCLCSWRPWPDTLOCR;;;LA)"
    "(OA;CI;RCWDLCSWRPWPLO;;ddf8de9b-cba5-4e12-842e-28d8b66f75ec;LA)"
    "(OA;CI;RCWDLCSWRPWPLO;;4feae054-ce55-47bb-860e-5b12063a51de;LA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;8213eac9-9d55-44dc-925c-e9a52b927644;LA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;1ed3a473-9b1b-418a-bfa0-3a37b95a5306;LA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;860abe37-9a9b-4fa4-b3d2-b8ace5df9ec5;LA)"
    "(OA;CI;RCWDLCSWRPWPLO;;cfee1051-5f28-4bae-a863-5d0cc18a8ed1;LA)"
    "(OA;CI;RCWDLCSWRPWPLO;;ddf8de9b-cba5-4e12-842e-28d8b66f75ec;DA)"
    "(OA;CI;RCWDLCSWRPWPLO;;4feae054-ce55-47bb-860e-5b12063a51de;DA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;8213eac9-9d55-44dc-925c-e9a52b927644;DA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;1ed3a473-9b1b-418a-bfa0-3a37b95a5306;DA)"
    "(OA;CI;SDRCWDLCSWRPWPDTLO;;860abe37-9a9b-4fa4-b3d2-b8ace5df9ec5;DA)"
    "(OA;CI;CC;4feae054-ce55-47bb-860e-5b12063a51de;;DA)"
    "(OA;CI;CC;8213eac9-9d55-44dc-925c-e9a52b927644;;DA)"
    "(OA;CI;CC;1ed3a473-9b1b-418a-bfa0-3a37b95a5306;;DA)"
    "(OA;CI;CC;860abe37-9a9b-4fa4-b3d2-b8ace5df9ec5;;DA)"
    "(OA;CI;RCWDLCSWRPWPLO;;cfee1051-5f28-4bae-a863-5d0cc18a8ed1;DA)";
const char kCreatorPlaceholder[] = "LA";

// `text` with every `from` replaced by `to`.
std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

}  // namespace

void QVStore::delegateQVRights(kesh::ADObject&) {}

void QVClassicStore::createDefaultObjects(kesh::ADObject&, kesh::ADObject&) {
  for (const PamDefault& pam : kClassicPamApps) {
    std::shared_ptr<PamApp> app = newPamApp(pam.application);
    app->setDescription(pam.description);
    savePamApp(app);
  }
}

void QVClassicStore::delegateQVRights(kesh::ADObject& object) {
  kesh::Logger::GetThreadPrivateLogger(kLoggerName)
      ->log(kesh::Logger::DEBUG, __FILE__, __LINE__, __func__,
            "Delegating QVRight to container: %s", object.dn().c_str());
  object = binding->fetch(object.dn(), nullptr, AD_ALL_OBJECTS);
  const std::string creator =
      GetPrincipal(kesh::getBindingUser(binding->binding)).sid().toMSString();
  const std::string sddl = ReplaceAll(CONSOLE_CLASSIC_QVSTORE_SD, kCreatorPlaceholder, creator);
  kesh::setSDFlag(binding->binding, false);
  SetSD(object, ParseSddl(sddl));
  binding->update(object, MyBinding::UPDATE_REPLACE);
}

void QVNGStore::createDefaultObjects(kesh::ADObject& operationContainer,
                                     kesh::ADObject& taskContainer) {
  for (const NGPamDefault& pam : kNGPamApps) {
    kesh::ADObject right = kesh::LDAPBinding::createChild(operationContainer, pam.cn, kRdnType);
    right[AD_CN] = pam.cn;
    right[AD_OBJECT_CLASS] = AZ_CLASS_OPERATION;
    right[AZ_OPERATION_ID] = kPamOperationId;
    right[AZ_APP_DATA] = pam.data;
    right[AD_DESCRIPTION] = pam.description;
    binding->add(right);
  }
  for (const RoleDefault& def : kNGRoles) {
    kesh::ADObject role = kesh::LDAPBinding::createChild(taskContainer, def.cn, kRdnType);
    role[AD_CN] = def.cn;
    role[AD_OBJECT_CLASS] = AZ_CLASS_TASK;
    role[AZ_TASK_IS_ROLE] = true;
    for (const char* right : def.rights) {
      role[AZ_TASK_OPS].addVal(
          kesh::LDAPBinding::createChild(operationContainer, right, kRdnType).dn());
    }
    role[AZ_APP_DATA] =
        sam::SamParser::WriteV2RoleData("", def.sysrights, def.allowLocalUser, kVisible);
    role[AD_DESCRIPTION] = def.description;
    binding->add(role);
  }
}
