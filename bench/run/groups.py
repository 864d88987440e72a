"""The runs that are compared with one another. The runs of a group are interleaved."""

from runs import Run

LARGEST_CURL_BUFFER = 512 * 1024


def comparisons(plan):
    files = dict(count=plan.loop_files)
    swarm = dict(sessions=plan.swarm_sessions, count=plan.swarm_files)
    all_files = plan.swarm_sessions * plan.swarm_files
    few = dict(sessions=plan.few_sessions, count=all_files // plan.few_sessions)
    return {
        "big": {
            "own": Run("own-files", "vsftpd", plan.big),
            "curl": Run("curl-files", "vsftpd", plan.big),
            "limit": Run("limit-files", "vsftpd", plan.big),
            "curl-large": Run("curl-files", "vsftpd", plan.big, {"curl-buffer": LARGEST_CURL_BUFFER}),
            "discard": Run("discard-files", "vsftpd", plan.big),
        },
        "middle": {
            "own": Run("own-files", "vsftpd", plan.middle),
            "curl": Run("curl-files", "vsftpd", plan.middle),
        },
        "small": {
            "own": Run("own-files", "quick vsftpd", plan.small, files),
            "bare": Run("bare-files", "quick vsftpd", plan.small, files),
            "curl": Run("curl-files", "quick vsftpd", plan.small, dict(count=plan.curl_files)),
            "multi": Run("curl-swarm", "quick vsftpd", plan.small, files),
            "own-active": Run("own-files", "quick vsftpd", plan.small, files | {"active": True}),
            "bare-active": Run("bare-files", "quick vsftpd", plan.small, files | {"active": True}),
        },
        "swarm": {
            "own": Run("own-swarm", "ftp_serve", plan.small, swarm),
            "curl": Run("curl-swarm", "ftp_serve", plan.small, swarm),
            "own-few": Run("own-swarm", "ftp_serve", plan.small, few),
        },
        "idle": {"own": Run("own-idle", "ftp_serve", options=dict(sessions=plan.idle_sessions))},
        "logins": {
            "own": Run("own-logins", "ftp_serve", options=dict(sessions=plan.logins)),
            "curl": Run("curl-logins", "ftp_serve", options=dict(sessions=plan.logins)),
        },
    }


def by_size(plan):
    """One group for each file size."""
    return {
        size: {
            key: Run(f"{key}-files", "vsftpd", size, dict(count=copies(plan, key, size)))
            for key in ("own", "curl", "limit")
        }
        for size in plan.plot_sizes
    }


def copies(plan, key, size):
    return min(plan.copies(size), plan.curl_files // 3) if key == "curl" else plan.copies(size)


def by_sessions(plan):
    """One group for each number of sessions; the total number of files is the same."""
    files = plan.swarm_sessions * plan.swarm_files
    return {
        sessions: {
            key: Run(f"{key}-swarm", "ftp_serve", plan.small, dict(sessions=sessions, count=max(1, files // sessions)))
            for key in ("own", "curl")
        }
        for sessions in plan.plot_sessions
    }
