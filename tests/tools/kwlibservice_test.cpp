// kwlib service as a child process, on a systemd user manager of the test's own.
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "kwlibrun.h"
#include "support/usermanager.h"

namespace {

using kwtest::Result;

TEST(KwlibService, StartStatusGrantStop) {
  if (geteuid() != 0) GTEST_SKIP() << "a private user manager needs root (a mount namespace and cgroups)";
  kwtest::UserManager manager;
  const std::string kwlib = "KWLIB63_SERVICE_BUS=" + manager.Bus() + " KWLIB63_POLKIT_RULES=" + manager.Rules() +
                            " " + KWLIB_EXE + " service ";
  EXPECT_EQ(kwtest::Shell(kwlib + "status kwsimple").out, "kwsimple: stopped, check point 0, wait hint 0 ms\n");
  Result r = kwtest::Shell(kwlib + "start kwsimple.service");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out.rfind("kwsimple.service: running, check point 0, wait hint 0 ms, process ", 0), 0u) << r.out;
  r = kwtest::Shell(kwlib + "grant-guest kwsimple");
  EXPECT_EQ(r.out, "kwsimple: the guest account may start and stop it\n") << r.err;
  EXPECT_EQ(kwtest::Shell(kwlib + "stop kwsimple").out, "kwsimple: stopped, check point 0, wait hint 0 ms\n");

  r = kwtest::Shell(kwlib + "start kwnothere");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "kwlib service kwnothere: The specified service does not exist as an installed service.\n");
  r = kwtest::Shell(kwlib + "start kwfail");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "kwlib service kwfail: the service did not start\n");
  EXPECT_EQ(kwtest::Shell(kwlib + "restart kwsimple").status, 2);
  // A start that fails: never "stopped" with exit status 0. Whether the start call
  // itself sees the failure ("did not start") or the service stops failed after the
  // start was accepted ("did not run") depends on when the manager's job ends.
  for (const char* unit : {"kwfalse", "kwmissing", "kwsilent"}) {
    r = kwtest::Shell(kwlib + "start " + unit);
    EXPECT_EQ(r.status, 1) << unit << ": " << r.out;
    EXPECT_EQ(r.err.rfind(std::string("kwlib service ") + unit + ": the service did not ", 0), 0u) << r.err;
  }
}

}  // namespace
