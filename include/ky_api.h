/*
 * kyarm: client library for networked robot-arm controllers.
 *
 * Plain C interface. Every controller operation takes the robot handle returned by
 * ky_create_robot_arm() first, writes its outputs through the pointers passed last, and
 * returns a signed 32-bit result code (see "Result codes" in kyarm/types.h). Nothing throws.
 *
 * Units on this interface: joint angles in degrees, joint speeds in degrees/s, joint
 * accelerations in degrees/s^2, Cartesian positions in metres, Euler angles in radians.
 * The controller speaks integers on the wire; each function documents its scaling.
 *
 * Threading: see README.md. In short, ky_init() once, then any thread may call any
 * command; commands on one robot may run concurrently but replies are matched by their
 * command name, so two threads waiting for the same command on one robot may swap replies.
 *
 * This header includes the whole interface. Its parts, one per family, live in kyarm/ and
 * can also be included on their own (each brings kyarm/types.h along).
 */
#ifndef KY_API_H
#define KY_API_H

#include "kyarm/types.h"
#include "kyarm/log.h"
#include "kyarm/lifecycle.h"
#include "kyarm/exchange.h"
#include "kyarm/events.h"
#include "kyarm/identity.h"
#include "kyarm/realtime.h"
#include "kyarm/joint_config.h"
#include "kyarm/arm_limits.h"
#include "kyarm/frames.h"
#include "kyarm/motion.h"
#include "kyarm/passthrough.h"
#include "kyarm/force_position.h"
#include "kyarm/jogging.h"
#include "kyarm/drag.h"
#include "kyarm/program_store.h"
#include "kyarm/waypoints.h"
#include "kyarm/controller.h"
#include "kyarm/io.h"
#include "kyarm/tool.h"
#include "kyarm/axes.h"
#include "kyarm/modbus.h"
#include "kyarm/network.h"
#include "kyarm/force_sensor.h"
#include "kyarm/project.h"
#include "kyarm/fence.h"
#include "kyarm/algo.h"

#endif /* KY_API_H */
