#!/bin/bash
# Whether the program is told the commit of its own source, and of no other repository.
#
#   commit_test.sh CMAKE WRITE_COMMIT_SCRIPT
set -euo pipefail

cmake=$1
script=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
unset GIT_DIR GIT_WORK_TREE
status=0

# expect COMMIT SOURCE [GIVEN_COMMIT]
expect() {
    "$cmake" "-DSOURCE=$2" "-DCOMMIT=${3-}" "-DOUTPUT=$folder/commit.cpp" -P "$script"
    grep --quiet --fixed-strings "return \"$1\";" "$folder/commit.cpp" || {
        echo "${2#"$folder/"} ${3-}: not $1 but: $(cat "$folder/commit.cpp")"
        status=1
    }
}

repository="$folder/a repository"
git init --quiet "$repository"
mkdir "$repository/unpacked" "$folder/archive"
expect unknown "$repository"
git -C "$repository" -c user.name=Test -c user.email=test@example.org commit --quiet --allow-empty --message=First
head=$(git -C "$repository" rev-parse HEAD)
git -C "$repository" worktree add --quiet "$folder/worktree" 2>/dev/null
ln -s "$repository" "$folder/link"

expect "$head" "$repository"
expect "$head" "$folder/worktree"
expect "$head" "$folder/link"
expect unknown "$repository/unpacked"
expect unknown "$folder/archive"
expect 1.2-3+abc "$repository" 1.2-3+abc
expect 1.2-3+abc "$repository/unpacked" 1.2-3+abc
expect unknown "$folder/archive" 'a"; //'
exit $status
