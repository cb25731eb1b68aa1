# The library for hosts from Python.
import rho

blocks = [bytes(12 * 7), bytes(12 * 10000)]
# @BLOCK@
assert time + sample_frames == 10007 and len(data) == 12 * sample_frames
