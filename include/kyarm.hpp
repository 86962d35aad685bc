// kyarm.hpp: the C++20 interface over the kyarm C library (header-only).
//
//   ky::Library lib(2);                       // ky_init(2) ... ky_destory()
//   ky::Robot robot("127.0.0.1", 8080);       // ky_create_robot_arm ... ky_delete_robot_arm
//   ky::Joints j = robot.get_joint_degree();  // throws ky::Error on a non-zero result
//   robot.movej(j, 20);                       // blocking move
//   if (auto r = robot.nothrow().get_joint_degree()) use(*r);   // ky::result<T>, never throws
//   else std::cerr << r.error().message();    // per-family meaning of the code
//
// Every command of the C interface is a member of ky::Robot named after its C function
// without the "ky_" prefix, with the C parameter order and units, returning what the C call
// writes into its output parameters. One shape throughout:
//   - ky::Robot (and ky::RobotRef): members throw ky::Error (an std::system_error) carrying
//     the C result code, its family's std::error_category and the C function's name;
//   - robot.nothrow() (ky::NothrowRef): the same members return ky::result<T>: the value, or
//     an std::error_code; result.value() throws the same ky::Error.
// std::error_code values compare equal to the family-independent ky::errc conditions
// (refused, failed, timeout, parse, family_specific). The kinematics are in ky::algo.
#pragma once

#include <ky_api.h>

#include "kyarm/cpp/algo.hpp"
#include "kyarm/cpp/robot.hpp"
