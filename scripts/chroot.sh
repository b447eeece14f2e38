# Debian systems in build/chroots, for what this machine should not be bothered with; source it
# after lib.sh.

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# new_chroot <folder> <architectures> [<package>...]: this machine's release from its own mirror,
# as it was published: updates may differ between architectures, and then exclude each other.
new_chroot() {
    local folder=$1 architectures=$2 suite mirror option options=()
    shift 2
    [ $# -eq 0 ] || options=("--include=$(IFS=,; echo "$*")")
    install_packages mmdebstrap
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' \
        "Codename: $suite" | sort -u | head -1)
    while read -r option; do
        options+=("--aptopt=$option")
    done < <(apt-config dump | grep -E '^Acquire::(http|https|Check-Date)')
    as_root rm -rf --one-file-system "$folder" "$folder.new"
    mkdir -p "$(dirname "$folder")"
    as_root mmdebstrap --quiet --variant=apt --architectures="$architectures" "${options[@]}" \
        --dpkgopt=force-unsafe-io "$suite" "$folder.new" "$mirror"
    as_root mv "$folder.new" "$folder"
}

# in_chroot <folder> <command>...: runs it in the project, which is at /kovira there, with nothing
# of this machine's environment.
in_chroot() {
    as_root unshare --mount sh -ec '
        root=$1
        shift
        mkdir -p "$root/kovira"
        mount --bind . "$root/kovira"
        mount --rbind /proc "$root/proc"
        mount --rbind /dev "$root/dev"
        exec chroot "$root" env --ignore-environment --chdir=/kovira HOME=/root LC_ALL=C.UTF-8 \
            PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive "$@"' sh "$@"
}

# Emulates a board's processor for one program.
emulator_of() {
    case "$1" in
    armhf) echo qemu-arm-static ;;
    arm64) echo qemu-aarch64-static ;;
    esac
}

# board_chroot <architecture>: sets chroot to a system that compiles for a board.
board_chroot() {
    chroot=build/chroots/board-$1
    [ -d "$chroot" ] || new_chroot "$chroot" "$(dpkg --print-architecture),$1" \
        "crossbuild-essential-$1" ninja-build qemu-user-static qtdeclarative5-dev-tools
    local modules=()
    for package in "${RUN_PACKAGES[@]}" "${TEST_PACKAGES[@]}"; do
        [[ "$package" == qml-module-* ]] && modules+=("$package:$1")
    done
    in_chroot "$chroot" sh -ec '
        architecture=$1
        shift
        apt-get update -qq
        apt-get build-dep -y -qq --no-install-recommends --host-architecture "$architecture" \
            ./packaging
        apt-get install -y -qq --no-install-recommends "$@"' sh "$1" "${modules[@]}"
}
