#include "cli/CompletionScripts.h"

namespace sonmere {

namespace {

// Readline replaces the word from its last word break on, and leaves a quote that is open before it.
constexpr std::string_view kBash =
    R"script(# bash completion of sonmere; load it with: source <(sonmere completion bash)

# Splits $1 into `words` as the shell would, without expanding anything; `quote` is one that is still open.
__sonmere_split() {
  local line=$1 word="" begun="" i c
  words=() quote=""
  for ((i = 0; i < ${#line}; i++)); do
    c=${line:i:1}
    if [[ $quote == "'" ]]; then
      if [[ $c == "'" ]]; then quote=""; else word+=$c; fi
    elif [[ $quote == '"' ]]; then
      if [[ $c == '"' ]]; then
        quote=""
      else
        [[ $c == \\ && ${line:i+1:1} == [\\\"\$\`] ]] && c=${line:++i:1}
        word+=$c
      fi
    elif [[ $c == \\ ]]; then
      word+=${line:++i:1} begun=1
    elif [[ $c == [\'\"] ]]; then
      quote=$c begun=1
    elif [[ $c == [[:space:]] ]]; then
      [[ $word || $begun ]] && words+=("$word")
      word="" begun=""
    else
      word+=$c
    fi
  done
  words+=("$word")
}

# The word $1 as it stands on the line behind `quote`; fails for one that can't stand there.
__sonmere_quote() {
  case $quote in
    "") printf -v quoted %q "$1" ;;
    "'") [[ $1 != *\'* ]] && quoted=$1 ;;
    *) [[ $1 != *[\\\"\$\`!]* ]] && quoted=$1 ;;
  esac
}

_sonmere() {
  local -a words reply
  local quote whole part line quoted
  __sonmere_split "$2"
  part=${words[${#words[@]}-1]}
  __sonmere_split "${COMP_LINE:0:COMP_POINT}"
  whole=${words[${#words[@]}-1]}
  mapfile -t reply < <(sonmere __complete "${words[@]:1}" 2>/dev/null)
  COMPREPLY=()
  case ${reply[0]} in
    files*) compopt -o default 2>/dev/null ;;
    folders*) compopt -o nospace -o dirnames 2>/dev/null ;;
    *nospace) compopt -o nospace 2>/dev/null ;;
  esac
  for line in "${reply[@]:1}"; do
    line=${line%%$'\t'*}
    # What stands before the last word break stays as it is.
    line=${line:${#whole}-${#part}}
    __sonmere_quote "$line" && COMPREPLY+=("$quoted")
  done
}
complete -F _sonmere sonmere
)script";

// compadd quotes by itself.
constexpr std::string_view kZsh = R"script(#compdef sonmere
# zsh completion of sonmere; load it with: source <(sonmere completion zsh)
_sonmere() {
  local -a typed reply candidates shown
  local line word
  typed=("${(@Q)words[2,CURRENT-1]}")
  reply=("${(@f)$(sonmere __complete "${typed[@]}" "${(Q)PREFIX}" 2>/dev/null)}")
  local -a first=(${(s: :)reply[1]})
  for line in "${(@)reply[2,-1]}"; do
    word=${line%%$'\t'*}
    candidates+=("$word")
    [[ $line == *$'\t'* ]] && word+="  -- ${line#*$'\t'}"
    shown+=("$word")
  done
  local -a ending=()
  [[ $first[3] == nospace ]] && ending=(-S '')
  (( $#candidates )) && compadd -l -d shown "${ending[@]}" -a candidates
  [[ $first[1] == none ]] && return
  [[ $first[2] == 0 ]] || compset -P '*='
  if [[ $first[1] == folders ]]; then _files -/; else _files; fi
}
if [[ $funcstack[1] == _sonmere ]]; then _sonmere "$@"; else compdef _sonmere sonmere; fi
)script";

constexpr std::string_view kFish =
    R"script(# fish completion of sonmere; load it with: sonmere completion fish | source
function __sonmere_complete
    set -l typed (commandline -opc)
    set -e typed[1]
    set -l raw (commandline -ct)
    set -l current (string unescape -- $raw)
    test (count $current) -eq 1; or set current "$raw"
    set -l reply (sonmere __complete $typed "$current" 2>/dev/null)
    test (count $reply) -gt 0; or return
    set -l first (string split ' ' -- $reply[1])
    set -e reply[1]
    test (count $reply) -gt 0; and printf '%s\n' $reply
    test $first[1] = none; and return
    set -l before (string sub -l $first[2] -- "$current")
    for path in (__fish_complete_path (string sub -s (math $first[2] + 1) -- "$current"))
        test $first[1] = folders; and not string match -q '*/*' -- $path; and continue
        printf '%s%s\n' "$before" $path
    end
end
complete -c sonmere -f -a '(__sonmere_complete)'
)script";

}  // namespace

std::string_view completionScript(std::string_view shell) {
  if (shell == "zsh") return kZsh;
  return shell == "fish" ? kFish : kBash;
}

}  // namespace sonmere
