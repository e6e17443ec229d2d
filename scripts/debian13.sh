# Gets sources and ARM64 packages of Debian 13, for which the machine's own lists have no entries. Other scripts source
# it after setup.sh.

# Prints the mirror from which the machine gets its own Debian packages.
debian_mirror() {
    apt-get indextargets --format '$(CREATED_BY) $(LABEL) $(COMPONENT) $(REPO_URI)' 2>/dev/null |
        sed -n 's/^Packages Debian main //p' | head -n 1
}

# debian13 FOLDER TYPE ARCHITECTURE: reads Debian 13's list of packages (TYPE is deb, or deb-src for sources) into
# FOLDER, and makes apt-get use only this list in this shell. Does not change the machine's own lists and packages.
debian13() {
    local apt=$1 keyring=/usr/share/keyrings/debian-archive-keyring.gpg mirror
    mirror=$(debian_mirror)
    if [ -z "$mirror" ] && [ "$(id -u)" -eq 0 ]; then
        APT_LOG=${APT_LOG:-$(mktemp)}
        apt_get update
        mirror=$(debian_mirror)
    fi
    [ -n "$mirror" ] || { echo "apt knows no Debian mirror: run apt-get update"; return 1; }
    mkdir -p "$apt"/{state/lists/partial,cache/archives/partial} || return 1
    : >"$apt/status"
    echo "$2 [signed-by=$keyring] $mirror trixie main" >"$apt/sources.list"
    cat >"$apt/apt.conf" <<END
APT::Architecture "$3";
APT::Architectures { "$3"; };
APT::Sandbox::User "root";
Acquire::Languages "none";
Dir::Etc::SourceList "$apt/sources.list";
Dir::Etc::SourceParts "/dev/null";
Dir::Etc::Preferences "/dev/null";
Dir::Etc::PreferencesParts "/dev/null";
Dir::State "$apt/state";
Dir::State::Status "$apt/status";
Dir::Cache "$apt/cache";
APT::Update::Post-Invoke { };
#clear APT::Update::Post-Invoke-Success;
END
    export APT_CONFIG=$apt/apt.conf
    apt-get update -q
}
