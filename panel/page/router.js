// The view is told by the fragment: "#/", "#/loop/NAME", "#/alarms", "#/journal", "#/commands".

export function route() {
  const parts = location.hash.replace(/^#\/?/, "").split("/");
  return { view: parts[0] || "overview", name: parts.length > 1 ? decodeURIComponent(parts.slice(1).join("/")) : "" };
}

export const loopRoute = (name) => "#/loop/" + encodeURIComponent(name);
