// Conversions between Euler angles, quaternions, rotation matrices and 4x4 transforms.
//
// Euler angles rx, ry, rz rotate about the fixed base axes X, then Y, then Z:
// R = Rz(rz) * Ry(ry) * Rx(rx). Quaternions are w, x, y, z. Single precision throughout.
#pragma once
#include "ky_api.h"

namespace ky::algo {

ky_matrix identity_matrix(int n);
ky_matrix rotx(float angle);
ky_matrix roty(float angle);
ky_matrix rotz(float angle);

ky_matrix euler_to_matrix(const ky_euler &e);
// Angles below -3.13 get 2*pi added, so a half turn reads as +pi.
ky_euler matrix_to_euler(const ky_matrix &m);
ky_quaternion euler_to_quat(const ky_euler &e);
ky_euler quat_to_euler(const ky_quaternion &q);
// The quaternion need not be normalised; a (near) zero quaternion gives the identity.
ky_matrix quat_to_matrix(const ky_quaternion &q);
ky_quaternion matrix_to_quat(const ky_matrix &m);

ky_matrix pose_euler_to_transformation_matrix(const ky_pose &p);
ky_matrix pose_quat_to_transformation_matrix(const ky_pose &p);
ky_pose transformation_matrix_to_pose(const ky_matrix &m);
// The rotation part (counts 3 and 3) of a transform.
ky_matrix matrix_T2R(const ky_matrix &m);

// Products and inverse of 4x4 homogeneous transforms (last row 0, 0, 0, 1).
// A 3x3 rotation as a 4x4 transform without translation.
ky_matrix homogeneous(const ky_matrix &rot);
ky_matrix mat_mul(const ky_matrix &a, const ky_matrix &b);
ky_matrix transform_inverse(const ky_matrix &t);
// Transform from x, y, z (m), rx, ry, rz (rad).
ky_matrix transform_from_params(const float p[6]);

// Angle from acos(x / |(x, y)|) with the sign of y (0 for a zero vector).
float my_atan2f(float y, float x);

}  // namespace ky::algo
