"""Numbers with their units, as people read them."""

import math

TIME_UNITS = {"h": 3600, "s": 1, "ms": 1e-3, "µs": 1e-6, "ns": 1e-9}
MANY_HOURS = 3 * 3600


def time_unit(duration_s):
    """The name of the unit in which a duration is a number of at least 1, and its seconds."""
    for name, seconds in TIME_UNITS.items():
        if float(f"{duration_s:.3g}") >= (MANY_HOURS if name == "h" else seconds):
            break
    return name, seconds


def duration_text(duration_s):
    name, seconds = time_unit(duration_s)
    return f"{duration_s / seconds:.3g} {name}"


def power_of_thousand(largest):
    """A power of ten that leaves short tick labels, and how it is written: empty for 1."""
    exponent = 3 * int(math.log10(largest) // 3) if largest >= 1e4 else 0
    superscripts = str.maketrans("0123456789", "⁰¹²³⁴⁵⁶⁷⁸⁹")
    return 10.0**exponent, "10" + str(exponent).translate(superscripts) if exponent else ""


def decimal_width(least):
    """The smallest number of 1, 2 or 5 times a power of ten that is not below `least`."""
    ten = 10.0 ** math.floor(math.log10(least))
    return next((factor * ten for factor in (1, 2, 5) if factor * ten >= least), 10 * ten)


def binary_width(least):
    """The smallest power of two that is not below `least`."""
    mantissa, exponent = math.frexp(least)
    return math.ldexp(1, exponent - 1 if mantissa == 0.5 else exponent)


def width_text(width):
    """A power of two as one writes it: 1/64."""
    if width >= 1:
        return f"{width:.9g}"
    return f"1/{1 / width:.0f}" if width >= 1 / 4096 else f"{width:.3g}"


def number_of(n, thing):
    return f"{n:,} {thing}{'' if n == 1 else 's'}"
