#!/usr/bin/env python3
"""Records the realtime joint positions while the arm moves and plots them to a PNG.

    python3 examples/python/realtime_plot.py --sim -o joints.png
"""

import threading
import time

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import _connect  # noqa: E402


def main() -> None:
    parser = _connect.arguments(__doc__.splitlines()[0])
    parser.add_argument("-o", "--output", default="realtime_joints.png", help="PNG file to write")
    args = parser.parse_args()
    with _connect.controller(args, mode=2) as robot:
        dof = robot.dof
        targets = [np.array(t[:dof], dtype=np.float32) for t in
                   ([30, -20, 45, 10, 60, 20, 0], [-30, 10, 20, -10, 30, -20, 0], [0] * 7)]
        samples, times = [], []
        # The pulling interface: a bounded queue fed by the realtime pushes, read here while
        # another thread drives the arm through its moves.
        with robot.realtime(maxsize=4096, timeout=2.0) as stream:
            mover = threading.Thread(target=lambda: [robot.movej(t, v=50) for t in targets])
            start = time.monotonic()
            mover.start()
            while mover.is_alive():
                state = stream.get()
                samples.append(state.joint_position[:dof].copy())
                times.append(time.monotonic() - start)
            mover.join()
        if not samples:
            raise SystemExit("no realtime state arrived (does the controller push to this host?)")
        data = np.array(samples)
        fig, ax = plt.subplots(figsize=(8, 4.5))
        for j in range(dof):
            ax.plot(times, data[:, j], label=f"joint {j + 1}")
        ax.set_xlabel("time (s)")
        ax.set_ylabel("position (deg)")
        ax.set_title(f"Realtime joint positions, {len(samples)} states, {stream.dropped} dropped")
        ax.grid(True, alpha=0.3)
        ax.legend(loc="upper right", fontsize="small")
        fig.tight_layout()
        fig.savefig(args.output, dpi=100)
        print(f"{len(samples)} states over {times[-1]:.2f} s -> {args.output}")


if __name__ == "__main__":
    main()
