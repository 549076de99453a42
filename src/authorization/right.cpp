// Rights in memory: their classes, names and the name checks.
#include "authorization/right.h"

#include "authorization/qv.h"
#include "directory/library/exceptions.h"

#define NOT_YET KESH_THROW(kesh::BadDataException, 0, "not implemented")

const char* const COMMAND_PREFIX = "pc-";
const char* const PAM_PREFIX = "pam-";
const char* const RESTRICTED_PREFIX = "rs-";
const char* const ROLE_PREFIX = "role-";
const char* const USERPATH = "USERPATH";

void CheckEmpty(const std::string&) { NOT_YET; }
void CheckClassicRoleRightName(const std::string&, size_t) { NOT_YET; }
void CheckNGRoleRightName(const std::string&) { NOT_YET; }
void CheckEnvString(const std::string&) { NOT_YET; }

QVRight::QVRight(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)), store(std::move(s)), isNew(n) {}
QVRight::~QVRight() = default;
void QVRight::setDescription(const std::string&) { NOT_YET; }
std::string QVRight::getDescription() const { NOT_YET; }
std::string QVRight::getCreateTime() const { NOT_YET; }
std::string QVRight::getModifyTime() const { NOT_YET; }
std::string QVRight::getZoneName() const { NOT_YET; }
unsigned QVRight::getType() const { NOT_YET; }

std::string Command::getName() { return name; }
std::string Command::getCommand() { return cmd; }
void Command::setKeepEnv(const std::string&) { NOT_YET; }
std::string Command::getKeepEnv() { return keepEnv; }
void Command::setDelEnv(const std::string&) { NOT_YET; }
std::string Command::getDelEnv() { return delEnv; }

QVCommand::QVCommand(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n) : Command(o, s, n) {}
std::string QVCommand::getName() { NOT_YET; }
RestrictCommand::RestrictCommand(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : Command(o, s, n) {}
std::string RestrictCommand::getName() { NOT_YET; }
PamApp::PamApp(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n) : QVRight(o, s, n) {}
std::string PamApp::getName() { NOT_YET; }
void PamApp::setApp(const std::string&) { NOT_YET; }

RSEnv::RSEnv(kesh::ADObject o, std::shared_ptr<QVStore> s, bool n)
    : object(std::make_shared<kesh::ADObject>(o)), store(std::move(s)), isNew(n) {}
void RSEnv::addCommand(std::shared_ptr<RestrictCommand>&) { NOT_YET; }
void RSEnv::getRestrictEnvCmds(std::list<std::shared_ptr<QVRight>>&) { NOT_YET; }
std::string RSEnv::getName() const { NOT_YET; }
