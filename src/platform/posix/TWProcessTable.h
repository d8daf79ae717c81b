// SPDX-License-Identifier: MIT
// What the kernel tells of other processes (/proc): the program a process runs and the fields
// of its status line. See also TWProcessLauncher.
#pragma once

#include <string>

class TWProcessTable {
  public:
    // The program name of a process: the base name of its argv[0]; empty when it is gone.
    static std::string programName(int pid);
    // Field `field` of /proc/<pid>/stat, numbered as proc(5) does (3: state, 22: start time);
    // empty when the process is gone or the line has no such field.
    static std::string statField(int pid, int field);
};
