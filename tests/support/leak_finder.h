// Finds tests that leave something behind.
#pragma once

/// Runs all tests and fails those that leave blocks of the library, GDI objects or handles behind. Since the
/// platform keeps things at first use, tests that left something run again at the end, a few times: what
/// grows each time is a leak, and the failure says where its blocks were made. So a test must bear to run
/// twice in a process.
/// \return what main returns
int RunTestsAndFindLeaks();
