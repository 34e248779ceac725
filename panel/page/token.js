// The token that a link brings in its fragment. It is kept in the tab's session and
// taken off the address bar, so that nobody copies it with the address.

const key = "loopbox-token";

export function takeToken() {
  const found = /^#(see|operate)=([0-9a-f]{32})$/.exec(location.hash);
  if (found) {
    sessionStorage.setItem(key, found[2]);
    history.replaceState(null, "", location.pathname + "#/");
  }
  return sessionStorage.getItem(key);
}
