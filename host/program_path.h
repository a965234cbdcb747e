// Finding a program as a shell would, along PATH.
#ifndef HOST_PROGRAM_PATH_H_
#define HOST_PROGRAM_PATH_H_

#include <string>
#include <string_view>

// The file that runs `program` as PATH finds it; empty when there is none.
std::string ProgramOnPath(std::string_view program);

#endif  // HOST_PROGRAM_PATH_H_
