#!/usr/bin/env bash
# Runs all that docs/scaling.md shows, on a cluster of two nodes: a Slurm of its own, both of whose
# nodes are this machine. Compares the images with those of vexolan, and ends all that it started.
# Usage: try_cluster.sh [FOLDER OF THE PROGRAMS]; the status is 77 where it cannot be tried.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

programs=$(realpath "${1:-$project/build}")
skip() {
    echo "No cluster was tried: $1"
    exit 77
}
((EUID == 0)) || skip 'Slurm needs root.'
type -t munged slurmctld slurmd sbatch mpirun "$programs/vexolan-mpi" >/dev/null ||
    skip 'something of munge, Slurm, Open MPI and vexolan-mpi is missing.'
getent ahostsv4 localhost >/dev/null || skip 'Slurm needs a network, even for the loopback alone.'

state=$(mktemp -d)
chmod 755 "$state"  # munged wants everybody to reach its socket
mkdir "$state"/{controller,n1,n2,tmp,work}
export SLURM_CONF=$state/slurm.conf TMPDIR=$state/tmp
export OMPI_MCA_btl_vader_backing_directory=$TMPDIR  # memory that ranks share
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
export OMPI_MCA_btl_tcp_if_include=lo OMPI_MCA_oob_tcp_if_include=lo
export OMPI_MCA_rmaps_base_oversubscribe=1  # both nodes have the same cores

# Also what daemons and jobs have started: all of it knows the configuration by its environment.
processes_of_cluster() (
    mark=SLURM_CONF=$SLURM_CONF
    unset SLURM_CONF
    grep -lsxz "$mark" /proc/[0-9]*/environ | cut -d / -f 3
)

clean_up() {
    local signal processes
    for signal in TERM KILL KILL; do
        for _ in {1..30}; do
            mapfile -t processes < <(processes_of_cluster)
            ((${#processes[@]})) || break 2
            kill -s "$signal" "${processes[@]}" 2>/dev/null || true
            sleep 0.1
        done
    done
    rm -rf "$state"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "$1" >&2
    tail -n 20 "$state"/*.log >&2 || true
    exit 1
}

wait_until() {
    local what=$1 until=$((SECONDS + 20))
    shift
    while ((SECONDS < until)); do
        if "$@" &>/dev/null; then return; fi
        sleep 0.1
    done
    fail "$what did not come:"
}

write_configuration() {
    local ports
    read -ra ports < <("$python" -c '
import socket
sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(3)]
print(*(each.getsockname()[1] for each in sockets))')
    cat >"$SLURM_CONF" <<END
ClusterName=trial
SlurmctldHost=localhost
SlurmctldPort=${ports[0]}
CommunicationParameters=NoCtldInAddrAny,NoInAddrAny
SlurmUser=root
SlurmdUser=root
AuthInfo=socket=$state/munge.socket
StateSaveLocation=$state/controller
SlurmdSpoolDir=$state/%n
SlurmctldPidFile=$state/controller.pid
SlurmdPidFile=$state/%n.pid
SlurmctldLogFile=$state/controller.log
SlurmdLogFile=$state/%n.log
SlurmdParameters=config_overrides
SchedulerParameters=sched_interval=1
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
SwitchType=switch/none
MpiDefault=none
ReturnToService=2
NodeName=n1 NodeHostname=localhost NodeAddr=127.0.0.1 Port=${ports[1]} CPUs=4
NodeName=n2 NodeHostname=localhost NodeAddr=127.0.0.1 Port=${ports[2]} CPUs=4
PartitionName=trial Nodes=n1,n2 Default=YES
END
}

start() {
    "$@" </dev/null >>"$state/start.log" 2>&1 &
}

start_cluster() {
    write_configuration
    head -c 1024 /dev/urandom >"$state/munge.key"
    chmod 600 "$state/munge.key"
    start munged --foreground --key-file="$state/munge.key" --socket="$state/munge.socket" \
        --pid-file="$state/munge.pid" --log-file="$state/munge.log" --seed-file="$state/munge.seed"
    wait_until munged test -S "$state/munge.socket"
    start slurmctld -D -f "$SLURM_CONF"
    start slurmd -D -f "$SLURM_CONF" -N n1
    start slurmd -D -f "$SLURM_CONF" -N n2
    wait_until 'The cluster' timeout 10 srun --nodes=2 true
}

no_job_is_left() {
    [[ ! $(squeue --noheader) ]]
}

# Usage: compare FOLDER IMAGE...: with the image that vexolan makes of the recording in this folder
compare() {
    local image
    "$programs/vexolan" -I "$1" -o expected.tif >/dev/null
    for image in "${@:2}"; do
        cmp expected.tif "$image"
    done
}

start_cluster
start timeout 60 "$python" "$project/scripts/run_document.py" "$project/docs/scaling.md" \
    --programs "$programs" --folder "$state/work"
wait $! || fail 'What the document shows failed:'
wait_until 'The end of all jobs' no_job_is_left
cd "$state/work"
compare recording image.tif image-mpirun.tif
for recording in recordings/*; do
    compare "$recording" "images/$(basename "$recording").tif"
done
echo "The cluster made the images that vexolan makes; nothing of it was left."
