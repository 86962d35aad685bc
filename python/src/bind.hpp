// Shared declarations of the Python extension: the type conversions (joint vectors and
// poses as numpy arrays and kyarm.Pose), record helpers, and one bind function per family.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <span>
#include <string>
#include <vector>

#include "kyarm.hpp"

namespace py = pybind11;
using namespace pybind11::literals;

// Joint vectors: any 1-D sequence of numbers in; a float32 numpy array out.
namespace pybind11::detail {

template <>
struct type_caster<std::span<const float>> {
    PYBIND11_TYPE_CASTER(std::span<const float>, _("numpy.typing.ArrayLike"));
    std::vector<float> storage;
    bool load(handle src, bool) {
        if (src.is_none() || PyUnicode_Check(src.ptr()) || PyBytes_Check(src.ptr())) return false;
        auto arr = array_t<float, array::c_style | array::forcecast>::ensure(src);
        if (!arr || arr.ndim() != 1) {
            PyErr_Clear();
            return false;
        }
        storage.assign(arr.data(), arr.data() + arr.size());
        value = std::span<const float>(storage.data(), storage.size());
        return true;
    }
    static handle cast(std::span<const float> s, return_value_policy, handle) {
        return array_t<float>(static_cast<ssize_t>(s.size()), s.data()).release();
    }
};

template <>
struct type_caster<ky::Joints> {
    PYBIND11_TYPE_CASTER(ky::Joints, _("numpy.ndarray[numpy.float32]"));
    bool load(handle src, bool convert) {
        type_caster<std::span<const float>> inner;
        if (!inner.load(src, convert)) return false;
        value = ky::Joints(static_cast<std::span<const float>>(inner));
        return true;
    }
    static handle cast(const ky::Joints &j, return_value_policy, handle) {
        return array_t<float>(static_cast<ssize_t>(j.size()), j.data()).release();
    }
};

}  // namespace pybind11::detail

namespace kypy {

/** A copy of a fixed C array member as a numpy array (first `n` elements). */
template <class T, std::size_t N>
py::array_t<T> array_of(const T (&a)[N], std::size_t n = N) {
    return py::array_t<T>(static_cast<py::ssize_t>(std::min(n, N)), a);
}

/** Read-only property of a fixed C array member, as a numpy array. */
template <class C, class T, std::size_t N>
auto array_property(T (C::*member)[N]) {
    return [member](const C &c) { return array_of(c.*member); };
}

/** Read-write property of a fixed char field (no NUL when it fills the field). */
template <class C, std::size_t N>
void text_property(py::class_<C> &cls, const char *name, char (C::*member)[N]) {
    cls.def_property(
        name, [member](const C &c) { return ky::text(c.*member); },
        [member, name](C &c, const std::string &s) {
            if (!ky::copy_text(c.*member, s)) throw py::value_error(std::string(name) + ": text too long");
        });
}

using Robot = py::class_<ky::Robot>;
using nogil = py::call_guard<py::gil_scoped_release>;

// One per family (python/src/<family>.cpp); module.cpp calls them all.
void bind_records(py::module_ &m);  // shared records: Pose, Frame, RobotInfo
void bind_identity(py::module_ &m, Robot &robot);
void bind_realtime(py::module_ &m, Robot &robot);
void bind_motion(py::module_ &m, Robot &robot);
void bind_joint_config(py::module_ &m, Robot &robot);
void bind_arm_limits(py::module_ &m, Robot &robot);
void bind_frames(py::module_ &m, Robot &robot);
void bind_passthrough(py::module_ &m, Robot &robot);
void bind_force_position(py::module_ &m, Robot &robot);
void bind_jogging(py::module_ &m, Robot &robot);
void bind_drag(py::module_ &m, Robot &robot);
void bind_controller(py::module_ &m, Robot &robot);
void bind_io(py::module_ &m, Robot &robot);
void bind_tool(py::module_ &m, Robot &robot);
void bind_axes(py::module_ &m, Robot &robot);
void bind_network(py::module_ &m, Robot &robot);
void bind_force_sensor(py::module_ &m, Robot &robot);
void bind_modbus(py::module_ &m, Robot &robot);
void bind_project(py::module_ &m, Robot &robot);
void bind_program_store(py::module_ &m, Robot &robot);
void bind_waypoints(py::module_ &m, Robot &robot);
void bind_fence(py::module_ &m, Robot &robot);
void bind_exchange(py::module_ &m, Robot &robot);
void bind_algo(py::module_ &algo);     // the kyarm.algo submodule
void bind_callbacks(py::module_ &m);   // realtime, event and log callbacks
void bind_sim(py::module_ &sim);       // the kyarm.sim submodule

}  // namespace kypy
