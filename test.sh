#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds and runs the tests: ./test.sh; with --all also the format check, the demo, the packages (as
# root also on a bare machine), clang-tidy, the sanitizers, the device build under emulation, the fuzz
# targets, the instruction counts and the binary interface, with warnings as errors; with --board the
# packages and tests of the device build on an emulated machine of that kind, and what a request costs
# there; with --soak MINUTES a long run under reloads and kills, and its figures; with --fuzz MINUTES
# a long run of each fuzz target.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
. scripts/setup.sh

usage() { echo "usage: ./test.sh [--all | --board | --soak MINUTES | --fuzz MINUTES]"; }

# Ends the script unless $1 is a number of minutes.
check_minutes() {
  if ! [[ "${1:-}" =~ ^[1-9][0-9]{0,4}$ ]]; then
    usage >&2
    exit 2
  fi
}

fuzz() {
  step "building into build/fuzz"
  build_quietly fuzz
  step "running each fuzz target for $1 seconds"
  scripts/fuzz.sh "$1"
}

run_tests() {
  local preset=$1
  shift
  step "building into build/$preset"
  build_quietly "$preset" "$@"
  step "running the tests of build/$preset"
  ctest --preset "$preset" -j "$(nproc)" --progress
}

# On the board: packages and tests of build/armhf-release and build/armhf.
run_board() {
  step "trying the packages and the tests of the device build on the board"
  scripts/board_suite.sh
}

check_format() {
  step "checking the format"
  git ls-files -z '*.h' '*.cc' '*.c' | xargs -0 clang-format --dry-run --Werror
}

case "${1:-}" in
  "")
    install_missing "${packages_build[@]}" "${packages_test[@]}"
    run_tests dev -DZQM_TRX_UNITY=ON
    ;;
  --all)
    install_missing "${packages_build[@]}" "${packages_test[@]}" "${packages_fuzz[@]}" \
      "${packages_armhf[@]}" "${packages_abi[@]}" "${packages_all[@]}"
    check_format
    ./demo.sh
    step "checking the installed files, the packages, and another platform library"
    scripts/check_packages.sh build/release
    scripts/check_platform_swap.sh
    scripts/check_bare_machine.sh build/release
    scripts/package_armhf.sh
    step "building with clang, its thread safety analysis and clang-tidy"
    build_quietly tidy -DCMAKE_COMPILE_WARNING_AS_ERROR=ON
    # The files of the tool were compiled one by one above; from here on those of a component
    # together, which takes half the time.
    together=(-DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DZQM_TRX_UNITY=ON)
    for preset in asan tsan; do
      run_tests "$preset" "${together[@]}"
    done
    fuzz 30
    scripts/check_instructions.sh
    step "comparing the binary interface with that of the last release"
    scripts/check_abi.sh
    run_tests dev "${together[@]}"
    step "building into build/armhf"
    build_quietly armhf "${together[@]}"
    step "comparing the trace records of this machine and of the device, and their decoding"
    scripts/compare_architectures.sh build/dev build/armhf
    run_tests armhf "${together[@]}"
    ;;
  --board)
    install_missing "${packages_build[@]}" "${packages_test[@]}" "${packages_armhf[@]}" \
      "${packages_board[@]}" lintian
    scripts/package_armhf.sh
    step "building into build/armhf"
    build_quietly armhf -DCMAKE_COMPILE_WARNING_AS_ERROR=ON -DZQM_TRX_UNITY=ON
    run_board
    scripts/check_board_instructions.sh
    ;;
  --soak)
    check_minutes "${2:-}"
    install_missing "${packages_build[@]}" "${packages_test[@]}"
    step "building into build/dev"
    build_quietly dev
    step "running for $2 minutes"
    build/dev/tests/soak/soak $(($2 * 60))
    ;;
  --fuzz)
    check_minutes "${2:-}"
    install_missing "${packages_build[@]}" "${packages_test[@]}" "${packages_fuzz[@]}"
    fuzz $(($2 * 60))
    ;;
  -h | --help) usage ;;
  *)
    usage >&2
    exit 2
    ;;
esac
