from __future__ import annotations

from typing import Any, Callable, Optional


def report_to(progress: Any, total: int) -> Optional[Callable[[int], None]]:
    """What is called with how much is done, for `progress`: a function of (done, total), or an
    object with `total` and `update(n)`, as those of tqdm."""
    if progress is None:
        return None
    if hasattr(progress, "update"):
        return _updates_of(progress, total)
    if callable(progress):
        return lambda done: progress(min(done, total), total)
    raise TypeError("progress must be a function of (done, total) or have a method update, "
                    f"not {type(progress).__name__}")


def _updates_of(progress: Any, total: int) -> Callable[[int], None]:
    progress.total = total
    told = 0

    def report(done: int) -> None:
        nonlocal told
        progress.update(min(done, total) - told)
        told = min(done, total)

    return report


def finish(report: Optional[Callable[[int], None]], total: int) -> None:
    if report is not None:
        report(total)
