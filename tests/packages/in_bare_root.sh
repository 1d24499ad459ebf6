#!/bin/bash
# Uses the packages of /packages in a Debian 12 root that has nothing of them, and checks that they leave nothing behind. Called
# inside that root by scripts/package, with a name of one of the functions below. Ends with 1 at the first thing that is wrong.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 HOME=/root

ours=(qorstat libqordecoder1 libqordecoder-dev)
examples=/usr/share/doc/qorstat/examples

fail() {
    echo "failed: $1" >&2
    exit 1
}

# Prints a command and what it prints.
show() {
    echo "# $*"
    "$@"
}

# expect TEXT COMMAND...: shows a command, and fails when its output does not contain the text.
expect() {
    local text=$1 output
    shift
    echo "# $*"
    output=$("$@" 2>&1) || fail "$*: exit code $?: $output"
    head -n 6 <<<"$output"
    grep --quiet --fixed-strings -- "$text" <<<"$output" || fail "$*: no \"$text\" in: $output"
}

apt() {
    apt-get --quiet --quiet -o Dpkg::Use-Pty=0 -o Acquire::Retries=3 "$@" </dev/null >/tmp/apt.log 2>&1 || {
        cat /tmp/apt.log >&2
        fail "apt-get $*"
    }
}

install() {
    echo "# apt-get install $*"
    apt install --yes --no-install-recommends "$@"
}

version_of() {
    dpkg-query --show --showformat '${Version}' "$1"
}

# Every file but those of the running system, and those that apt, dpkg and the loader keep for themselves.
list_files() {
    find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /packages -o -path /var/cache \
        -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune -o -print | LC_ALL=C sort
}

# Purges ours and what came with them. @param a list of the files before.
expect_purge_leaves_nothing() {
    local known left
    mapfile -t known < <(dpkg-query --show --showformat '${Package}\n' "${ours[@]}" 2>/dev/null)
    echo "# apt-get purge ${known[*]}"
    apt purge --yes "${known[@]}"
    apt autoremove --purge --yes
    list_files | diff "$1" - || fail "there are other files than before"
    # But for the pages that man has shown, which it forgets by itself.
    left=$(find / -xdev \( -path /proc -o -path /sys -o -path /packages -o -path /tmp -o -path /var/cache/man \) -prune \
        -o -iname '*qor*' -print)
    [[ -z $left ]] || fail "left behind: $left"
    ! dpkg-query --show "${ours[@]}" 2>/dev/null || fail "dpkg still knows them"
    echo "nothing is left"
}

# A root with the least that apt needs: the packages bring everything that the program needs to run.
least() {
    apt update
    list_files >/tmp/before
    install /packages/new/qorstat_*.deb
    expect "qorstat 0." qorstat --version
    expect "commit $(cat /packages/commit)" qorstat --version
    expect "/qorstat/OndreQORHIDStatistics.so" qorstat --version
    ! qorstat --version | grep missing || fail "no module"
    expect "104 records, 3328 reports" qorstat capture "$examples/phone.toml" --kind fault -o /tmp/captures
    # With each library that is loaded only when it is needed.
    expect "metrics at http://127.0.0.1:" qorstat run "$examples/phone.toml" --for 0 --store :memory: --listen 0 --log /tmp/run.log
    [[ -e /tmp/run.log ]] || fail "no log"
    expect "reports" qorstat query "$examples/reports" "SELECT count(*) AS reports FROM reports"
    grep --quiet Permission /usr/share/doc/qorstat/dygraphs.copyright || fail "no license of what the program has within it"
    install /packages/new/libqordecoder1_*.deb /packages/new/libqordecoder-dev_*.deb
    expect_purge_leaves_nothing /tmp/before
}

# The words that bash offers for what was typed.
complete_in_bash() {
    # shellcheck disable=SC2016 # for the other shell
    bash --norc -ic '
        source /usr/share/bash-completion/bash_completion
        _completion_loader "$1" || (($? == 124))
        COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
        function=$(complete -p "$1" | sed "s/.*-F \([^ ]*\) .*/\1/")
        "$function" "$1" "${@: -1}" "${@: -2:1}"
        printf "%s\n" "${COMPREPLY[@]}"' bash "$@" 2>/dev/null
}

# A root with manual pages, completion of words, a compiler and systemd.
whole() {
    apt update
    list_files >/tmp/before
    old=$(dpkg-deb --field /packages/old/qorstat_*.deb Version)
    new=$(dpkg-deb --field /packages/new/qorstat_*.deb Version)

    install /packages/old/*.deb
    [[ $(version_of qorstat) == "$old" && -e /usr/share/doc/qorstat/gone ]] || fail "not the older version"
    mkdir -p /var/lib/private/qorstat
    ln -s private/qorstat /var/lib/qorstat
    qorstat run "$examples/phone.toml" --for 0 --store /var/lib/qorstat/analytics.db 2>/dev/null
    install /packages/new/*.deb
    for package in "${ours[@]}"; do
        [[ $(version_of "$package") == "$new" ]] || fail "$package was not upgraded"
    done
    echo "upgraded from $old to $new"
    [[ ! -e /usr/share/doc/qorstat/gone ]] || fail "the upgrade left a file of the older version"
    [[ -s /var/lib/qorstat/analytics.db ]] || fail "the upgrade took the store away"
    expect "$new" dpkg-parsechangelog --file /usr/share/doc/qorstat/changelog.gz --show-field Version

    expect "qorstat-decode - " man qorstat-decode
    expect "qorstat - host the QOR" man qorstat
    expect "decode" complete_in_bash qorstat dec
    expect "--format" complete_in_bash qorstat decode --form

    # shellcheck disable=SC2046 # a list of words
    show cc -std=c11 -Wall -Wextra -Werror "$examples/library/describe.c" $(pkg-config --cflags --libs qordecoder) -o /tmp/describe
    [[ $(/tmp/describe "$examples/reports/fw.bin") == "$(qorstat decode "$examples/reports/fw.bin" --format text)" ]] ||
        fail "the library describes other lines than the program"
    ! ldd /tmp/describe | grep --fixed-strings 'not found' || fail "the program does not find the library"

    [[ $(systemctl is-enabled qorstat.service) == disabled ]] || fail "the service is not off"
    show systemd-analyze verify /lib/systemd/system/qorstat.service
    # In tenths; a service that nothing confines has 96.
    exposure=$(systemd-analyze security --offline=yes --threshold=15 qorstat.service) || fail "not confined: $exposure"
    tail -n 1 <<<"$exposure"

    echo "# apt-get remove ${ours[*]}"
    apt remove --yes "${ours[@]}"
    [[ -s /var/lib/qorstat/analytics.db ]] || fail "removing took the store away"
    expect_purge_leaves_nothing /tmp/before
}

# Prepares what "booted" needs, where there is a network.
service() {
    apt update
    install /packages/new/qorstat_*.deb
    cat >/etc/systemd/system/use-packages.service <<'END'
[Service]
Type=oneshot
ExecStart=/packages/new/in_bare_root.sh booted
StandardOutput=append:/packages/booted
StandardError=append:/packages/booted
ExecStopPost=sh -c 'systemctl exit "$EXIT_STATUS"'
[Install]
WantedBy=multi-user.target
END
    systemctl --quiet enable use-packages.service
}

main_process() {
    systemctl show --property=MainPID --value qorstat.service
}

# scrape PORT: what the service answers at /metrics.
scrape() {
    local try
    for try in {1..100}; do
        if exec 3<>/dev/tcp/127.0.0.1/"$1"; then
            printf 'GET /metrics HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n' >&3
            cat <&3
            return
        fi 2>/dev/null
        sleep 0.1
    done
    echo "nobody listened after $try tries"
}

# In a root that systemd has started: the service does what the packages say.
booted() {
    trap '(($? == 0)) || journalctl --no-pager --lines=30' EXIT
    echo "systemd $(systemctl --version | sed -n '1s/^systemd //p') is running: $(systemctl is-system-running || true)"
    [[ $(systemctl is-enabled qorstat) == disabled && $(systemctl is-active qorstat) == inactive ]] || fail "the service is not off"
    ! systemctl start qorstat 2>/dev/null || fail "the service starts without a description"
    cp -r "$examples/reports" "$examples/analytics" /etc/qorstat
    cp "$examples/phone.toml" /etc/qorstat/device.toml
    show systemctl start qorstat
    expect "qor_scalar_button_click_counted" scrape 9100
    expect "hosting phone: 9 services" journalctl --output=cat --unit=qorstat
    [[ $(grep -h ^CapEff: "/proc/$(main_process)/status") == *0000000000000000 ]] || fail "the service has capabilities"
    [[ $(stat --format=%U "/proc/$(main_process)") != root ]] || fail "the service is root"
    first=$(main_process)
    echo "# dpkg --install qorstat_*.deb"
    dpkg --install /packages/new/qorstat_*.deb >/dev/null
    [[ $(systemctl is-active qorstat) == active && $(main_process) != "$first" ]] || fail "an upgrade does not restart the service"
    expect "qor_scalar_button_click_counted" scrape 9100
    show systemctl stop qorstat
    [[ $(systemctl show --property=Result --value qorstat) == success ]] || fail "the service does not end well"
    expect "ended after" journalctl --output=cat --unit=qorstat --grep=ended
    expect "click.count" qorstat metrics /var/lib/qorstat/analytics.db
    show systemctl start qorstat
    echo "# dpkg --purge qorstat"
    dpkg --purge qorstat >/dev/null 2>&1
    [[ $(systemctl is-active qorstat) == inactive ]] || fail "the service runs without its package"
    [[ ! -e /var/lib/qorstat && ! -e /var/lib/private/qorstat && ! -e /run/qorstat ]] || fail "the store is left behind"
    [[ -e /etc/qorstat/device.toml ]] || fail "the administrator's description is gone"
    echo "the service is as it should be"
}

"$1"
