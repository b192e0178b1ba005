document.documentElement.classList.add("js");

// Two pictures become one with a line that is dragged, or moved by the arrow keys.
for (const compare of document.querySelectorAll(".compare.two")) {
  let at = 50;
  const move = (percent) => {
    at = Math.min(100, Math.max(0, percent));
    compare.style.setProperty("--at", at + "%");
    compare.setAttribute("aria-valuenow", Math.round(at));
  };
  const follow = (event) => {
    const box = compare.getBoundingClientRect();
    move((100 * (event.clientX - box.left)) / box.width);
  };
  compare.tabIndex = 0;
  compare.setAttribute("role", "slider");
  compare.setAttribute("aria-label", "Share of the picture before");
  compare.append(Object.assign(document.createElement("div"), { className: "line" }));
  for (const picture of compare.querySelectorAll("img")) picture.draggable = false;
  compare.addEventListener("pointerdown", (event) => {
    compare.setPointerCapture(event.pointerId);
    follow(event);
  });
  compare.addEventListener("pointermove", (event) => {
    if (compare.hasPointerCapture(event.pointerId)) follow(event);
  });
  compare.addEventListener("keydown", (event) => {
    const steps = { ArrowLeft: -5, ArrowRight: 5, Home: -100, End: 100 };
    if (!(event.key in steps)) return;
    event.preventDefault();
    move(at + steps[event.key]);
  });
  move(at);
}

// Pages that were opened as a file may have no access to the clipboard; a selected text has.
async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const field = Object.assign(document.createElement("textarea"), { value: text });
    document.body.append(field);
    field.select();
    document.execCommand("copy");
    field.remove();
  }
}

for (const button of document.querySelectorAll(".command button"))
  button.addEventListener("click", async () => {
    await copy(button.previousElementSibling.textContent);
    button.textContent = "Copied";
    setTimeout(() => (button.textContent = "Copy"), 1500);
  });
