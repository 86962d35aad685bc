"""The exchange methods: generic get/set, raw exchanges, the family's errors, the GIL."""

import json

import pytest

import kyarm


def test_set_get_and_raw_round_trip(robot):
    robot.set_data_common(value=41, command="set_drag_teach_sensitivity", key="grade")
    assert robot.get_data_common(command="get_drag_teach_sensitivity", reply_key="grade") == 41
    reply = json.loads(robot.raw('{"command":"set_drag_teach_sensitivity","grade":9}'))
    assert reply["command"] == "set_drag_teach_sensitivity" and reply["set_state"] is True
    assert robot.get_data_common("get_drag_teach_sensitivity", "grade") == 9
    line = robot.raw('{"command":"get_joint_degree"}', reply_key="joint_degree", timeout=1.0)
    assert isinstance(line, str) and len(json.loads(line)["joint"]) == 6


@pytest.mark.parametrize("text,key,cls,code,family", [
    ("[1, 2]", "", kyarm.HandleError, -1, "exchange"),
    ('{"grade": 3}', "", kyarm.HandleError, -1, "exchange"),
    ('{"command":"get_joint_degree"}', "", kyarm.TimeoutError, -2, "exchange"),
])
def test_raw_errors(robot, text, key, cls, code, family):
    with pytest.raises(cls) as e:
        robot.raw(text, reply_key=key, timeout=0.1)
    assert e.value.code == code and e.value.function == "ky_exchange_raw" and e.value.family == family


def test_refused_set_names_set_state(sim, robot):
    sim.set_faults(refuse_all=True)
    with pytest.raises(kyarm.RefusedError) as e:
        robot.set_data_common(50, "set_drag_teach_sensitivity", "grade")
    assert e.value.family == "exchange" and "set_state" in str(e.value)


def test_raw_wait_releases_the_gil(robot, ticks_during):
    def wait():
        with pytest.raises(kyarm.TimeoutError):
            robot.raw('{"command":"get_joint_degree"}', timeout=0.3)

    assert ticks_during(wait) >= 20
