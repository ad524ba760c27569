#!/usr/bin/python3
"""Writes the designer's refusal messages as GBK bytes (hex), one per line:
<key> <byte length> <hex>. The C++ tests compare the library's messages with
this file, which is produced from the texts below independently of the
library's own byte tables."""

import os

MESSAGES = [
    ("positive", "输入值必须大于0！"),
    ("fs256", "输入的频率应小于等于采样频率/2.56！"),
    ("fs20", "输入的频率应小于等于采样频率/2.0！"),
    ("atten", "阻带衰减范围20-160dB！"),
    ("lowpass", "阻带边界频率应大于通带边界频率！"),
    ("highpass", "通带边界频率应大于阻带边界频率！"),
    ("bp_lower", "通带下边界频率应大于阻带下边界频率！"),
    ("bp_upper", "阻带上边界频率应大于通带上边界频率！"),
    ("pass_order", "通带上边界频率应大于通带下边界频率！"),
    ("bs_lower", "阻带下边界频率应大于通带下边界频率！"),
    ("bs_upper", "通带上边界频率应大于阻带上边界频率！"),
    ("stop_order", "阻带上边界频率应大于阻带下边界频率！"),
    ("order", "阶数太大，滤波器不稳定，返回"),
]

here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(here, "messages_gbk.txt"), "w") as out:
    for key, text in MESSAGES:
        data = text.encode("gbk")
        out.write(f"{key} {len(data)} {data.hex()}\n")
