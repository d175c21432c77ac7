from __future__ import annotations

from typing import Any, Callable, Optional, Protocol, Union


class Bar(Protocol):
    """What shows progress as tqdm does."""

    total: Any

    def update(self, n: int) -> object: ...


Progress = Union[Callable[[int, int], object], Bar, None]
"""What is told of progress: a function of (done, total), or a bar."""


def report_to(progress: Progress, total: int) -> Optional[Callable[[int], None]]:
    """What is called with how much is done."""
    if progress is None:
        return None
    if hasattr(progress, "total") and hasattr(progress, "update"):
        return _updates_of(progress, total)
    if not callable(progress):
        raise TypeError("progress must be a function of (done, total) or have total and update(n), "
                        f"not {type(progress).__name__}")
    function = progress

    def report(done: int) -> None:
        function(min(done, total), total)

    return report


def _updates_of(progress: Bar, total: int) -> Callable[[int], None]:
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
