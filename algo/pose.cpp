// Pose conversions in single precision.
#include "algo/pose.h"

#include <cmath>

namespace ky::algo {

namespace {
constexpr float kTwoPi = 6.2831855f;
// Angles just above -pi are read as just above +pi, so a half turn is reported as +pi.
constexpr float kWrapBelow = -3.13f;

ky_matrix zero_matrix(int rows, int cols) {
    ky_matrix m{};
    m.rows = static_cast<uint16_t>(rows);
    m.cols = static_cast<uint16_t>(cols);
    return m;
}

float wrap(float a) { return a < kWrapBelow ? a + kTwoPi : a; }
}  // namespace

ky_matrix identity_matrix(int n) {
    ky_matrix m = zero_matrix(n, n);
    for (int i = 0; i < n; ++i) m.data[i][i] = 1.0f;
    return m;
}

ky_matrix rotx(float angle) {
    ky_matrix m = identity_matrix(3);
    const float c = std::cos(angle), s = std::sin(angle);
    m.data[1][1] = c;
    m.data[1][2] = -s;
    m.data[2][1] = s;
    m.data[2][2] = c;
    return m;
}

ky_matrix roty(float angle) {
    ky_matrix m = identity_matrix(3);
    const float c = std::cos(angle), s = std::sin(angle);
    m.data[0][0] = c;
    m.data[0][2] = s;
    m.data[2][0] = -s;
    m.data[2][2] = c;
    return m;
}

ky_matrix rotz(float angle) {
    ky_matrix m = identity_matrix(3);
    const float c = std::cos(angle), s = std::sin(angle);
    m.data[0][0] = c;
    m.data[0][1] = -s;
    m.data[1][0] = s;
    m.data[1][1] = c;
    return m;
}

ky_matrix euler_to_matrix(const ky_euler &e) {
    const float cx = std::cos(e.rx), sx = std::sin(e.rx);
    const float cy = std::cos(e.ry), sy = std::sin(e.ry);
    const float cz = std::cos(e.rz), sz = std::sin(e.rz);
    ky_matrix m = zero_matrix(3, 3);
    m.data[0][0] = cy * cz;
    m.data[0][1] = sx * sy * cz - cx * sz;
    m.data[0][2] = cx * sy * cz + sx * sz;
    m.data[1][0] = cy * sz;
    m.data[1][1] = sx * sy * sz + cx * cz;
    m.data[1][2] = cx * sy * sz - sx * cz;
    m.data[2][0] = -sy;
    m.data[2][1] = sx * cy;
    m.data[2][2] = cx * cy;
    return m;
}

ky_euler matrix_to_euler(const ky_matrix &m) {
    const auto &r = m.data;
    ky_euler e{};
    e.ry = std::atan2(-r[2][0], std::sqrt(r[0][0] * r[0][0] + r[1][0] * r[1][0]));
    if (r[2][0] > 0.999999f) {  // ry near -90 degrees: all rotation about the common axis in rx
        e.rx = -std::atan2(r[0][1], r[1][1]);
        e.rz = 0.0f;
    } else if (r[2][0] < -0.999999f) {  // ry near +90 degrees
        e.rx = std::atan2(r[0][1], r[1][1]);
        e.rz = 0.0f;
    } else {
        e.rx = std::atan2(r[2][1], r[2][2]);
        e.rz = std::atan2(r[1][0], r[0][0]);
    }
    e.rx = wrap(e.rx);
    e.ry = wrap(e.ry);
    e.rz = wrap(e.rz);
    return e;
}

ky_quaternion euler_to_quat(const ky_euler &e) {
    const float cx = std::cos(e.rx * 0.5f), sx = std::sin(e.rx * 0.5f);
    const float cy = std::cos(e.ry * 0.5f), sy = std::sin(e.ry * 0.5f);
    const float cz = std::cos(e.rz * 0.5f), sz = std::sin(e.rz * 0.5f);
    ky_quaternion q;
    q.w = cx * cy * cz + sx * sy * sz;
    q.x = sx * cy * cz - cx * sy * sz;
    q.y = cx * sy * cz + sx * cy * sz;
    q.z = cx * cy * sz - sx * sy * cz;
    return q;
}

ky_matrix quat_to_matrix(const ky_quaternion &q) {
    const float n = q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z;
    const float s = n > 1e-6f ? 2.0f / n : 0.0f;
    ky_matrix m = zero_matrix(3, 3);
    m.data[0][0] = 1.0f - s * (q.y * q.y + q.z * q.z);
    m.data[0][1] = s * (q.x * q.y - q.w * q.z);
    m.data[0][2] = s * (q.x * q.z + q.w * q.y);
    m.data[1][0] = s * (q.x * q.y + q.w * q.z);
    m.data[1][1] = 1.0f - s * (q.x * q.x + q.z * q.z);
    m.data[1][2] = s * (q.y * q.z - q.w * q.x);
    m.data[2][0] = s * (q.x * q.z - q.w * q.y);
    m.data[2][1] = s * (q.y * q.z + q.w * q.x);
    m.data[2][2] = 1.0f - s * (q.x * q.x + q.y * q.y);
    return m;
}

ky_euler quat_to_euler(const ky_quaternion &q) { return matrix_to_euler(quat_to_matrix(q)); }

ky_quaternion matrix_to_quat(const ky_matrix &m) {
    const auto &r = m.data;
    ky_quaternion q;
    const float trace = r[0][0] + r[1][1] + r[2][2];
    if (trace > 0.0f) {
        const float s = 2.0f * std::sqrt(trace + 1.0f);
        q.w = 0.25f * s;
        q.x = (r[2][1] - r[1][2]) / s;
        q.y = (r[0][2] - r[2][0]) / s;
        q.z = (r[1][0] - r[0][1]) / s;
    } else if (r[0][0] > r[1][1] && r[0][0] > r[2][2]) {
        const float s = 2.0f * std::sqrt(1.0f + r[0][0] - r[1][1] - r[2][2]);
        q.w = (r[2][1] - r[1][2]) / s;
        q.x = 0.25f * s;
        q.y = (r[0][1] + r[1][0]) / s;
        q.z = (r[0][2] + r[2][0]) / s;
    } else if (r[1][1] > r[2][2]) {
        const float s = 2.0f * std::sqrt(1.0f + r[1][1] - r[0][0] - r[2][2]);
        q.w = (r[0][2] - r[2][0]) / s;
        q.x = (r[0][1] + r[1][0]) / s;
        q.y = 0.25f * s;
        q.z = (r[1][2] + r[2][1]) / s;
    } else {
        const float s = 2.0f * std::sqrt(1.0f + r[2][2] - r[0][0] - r[1][1]);
        q.w = (r[1][0] - r[0][1]) / s;
        q.x = (r[0][2] + r[2][0]) / s;
        q.y = (r[1][2] + r[2][1]) / s;
        q.z = 0.25f * s;
    }
    return q;
}

namespace {
ky_matrix with_position(const ky_matrix &rot, const ky_position &p) {
    ky_matrix t = rot;
    t.rows = t.cols = 4;
    t.data[0][3] = p.x;
    t.data[1][3] = p.y;
    t.data[2][3] = p.z;
    t.data[3][0] = t.data[3][1] = t.data[3][2] = 0.0f;
    t.data[3][3] = 1.0f;
    return t;
}
}  // namespace

ky_matrix pose_euler_to_transformation_matrix(const ky_pose &p) {
    return with_position(euler_to_matrix(p.euler), p.position);
}

ky_matrix pose_quat_to_transformation_matrix(const ky_pose &p) {
    return with_position(quat_to_matrix(p.quaternion), p.position);
}

ky_pose transformation_matrix_to_pose(const ky_matrix &m) {
    ky_pose p{};
    p.position = {m.data[0][3], m.data[1][3], m.data[2][3]};
    const ky_matrix r = matrix_T2R(m);
    p.quaternion = matrix_to_quat(r);
    p.euler = matrix_to_euler(r);
    return p;
}

ky_matrix matrix_T2R(const ky_matrix &m) {
    ky_matrix r = zero_matrix(3, 3);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r.data[i][j] = m.data[i][j];
    return r;
}

ky_matrix homogeneous(const ky_matrix &rot) {
    ky_matrix t = matrix_T2R(rot);
    t.rows = t.cols = 4;
    t.data[3][3] = 1.0f;
    return t;
}

ky_matrix mat_mul(const ky_matrix &a, const ky_matrix &b) {
    ky_matrix c = zero_matrix(4, 4);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            float s = 0.0f;
            for (int k = 0; k < 4; ++k) s += a.data[i][k] * b.data[k][j];
            c.data[i][j] = s;
        }
    return c;
}

ky_matrix transform_inverse(const ky_matrix &t) {
    ky_matrix r = zero_matrix(4, 4);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) r.data[i][j] = t.data[j][i];
    for (int i = 0; i < 3; ++i)
        r.data[i][3] = -(r.data[i][0] * t.data[0][3] + r.data[i][1] * t.data[1][3] +
                         r.data[i][2] * t.data[2][3]);
    r.data[3][3] = 1.0f;
    return r;
}

ky_matrix transform_from_params(const float p[6]) {
    ky_pose pose{};
    pose.position = {p[0], p[1], p[2]};
    pose.euler = {p[3], p[4], p[5]};
    return pose_euler_to_transformation_matrix(pose);
}

float my_atan2f(float y, float x) {
    const float n = std::sqrt(x * x + y * y);
    if (n == 0.0f) return 0.0f;
    float c = x / n;
    c = c > 1.0f ? 1.0f : (c < -1.0f ? -1.0f : c);
    const float a = std::acos(c);
    return y >= 0.0f ? a : -a;
}

}  // namespace ky::algo
