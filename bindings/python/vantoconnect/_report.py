"""What became of each packet of one printed receipt."""

from dataclasses import dataclass

from . import _native


@dataclass(frozen=True)
class DeliveryReport:
    """The delivery report of one receipt, what the future ``Vanto.print`` returns resolves to
    (or the ``report`` of the error it raises).

    Every data packet falls in exactly one of the five counts, so ``packets_acknowledged +
    packets_refused + packets_unrecognised + packets_unanswered + packets_not_sent ==
    packets_sent``.

    Only ``all_acknowledged`` says that the unit took the whole receipt; "completed" (the
    ``on_completed`` callback) says, in the classic profile, only that the connection's work
    queue got through the receipt's messages. No answer from the unit can tell whether the paper
    then jammed.
    """

    receipt_id: int
    """Given at submission: 1, 2, 3, ... for the process (classic) or for the ``Vanto``
    (resilient)."""
    packets_sent: int
    """Data packets of the receipt (0 when it was dropped or withdrawn unprinted)."""
    packets_acknowledged: int
    """Packets the unit acknowledged."""
    packets_refused: int
    """Packets never acknowledged; the printer answered "not OK"."""
    packets_unrecognised: int
    """Packets never acknowledged, with at least one answer nobody understands."""
    packets_not_sent: int
    """Packets that no attempt could get to the unit, or that were not tried after one that did
    not get through."""
    end_of_job_sent: bool
    """The end-of-job message reached a connection (the unit never acknowledges it)."""
    all_acknowledged: bool
    """Every packet acknowledged and the end of job sent: the only state to call it printed."""
    packets_unanswered: int = 0
    """Packets that went out but whose answer never came (the connection closed or fell silent):
    they may have printed. Only the resilient profile, whose reads end, counts these."""
    cancelled: bool = False
    """Withdrawn before any of it was sent (``cancel()`` on its future, or its ``Vanto``
    closed): nothing of it is on paper."""

    def summary(self) -> str:
        """One line for people, such as "the unit refused 5 of 12 packets; the receipt is
        incomplete" or "all 12 packets acknowledged"."""
        return _native._report_summary(self)
