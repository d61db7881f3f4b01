-- evening: turns the default scene towards the evening. The sky darkens, the main light goes down and turns orange, two
-- small lamps are added, and what stands on the floor is turned and painted anew.
--
--   studio build/scenes/knot.obj examples/studio/scenes/evening.lua -o evening.png

-- Recolour: colours by hue, saturation and brightness, and a texture of its own.
scene.Sky = q7.color(0.02, 0.03, 0.08)
scene.Horizon = q7.color(0.24, 0.12, 0.1)
scene.Ambient = q7.color(0.06, 0.06, 0.1)
scene.lacquer.Hue = 0.58
scene.bronze.Color = q7.color(0.75, 0.35, 0.12)
scene.bronze.Mirror = 0.25
scene.marble.Texture = 4

-- Turn: heading, pitch and bank in degrees, and by a quaternion.
scene.knot.Angles = q7.vector(35, 0, 0)
scene.plinth.Quaternion = q7.hpb(0.4, 0, 0)

-- The main light sets; the others are what is left of the day.
scene.key.Color = q7.color(1, 0.55, 0.25)
scene.key.Origin = q7.vector(-14, 5, 9)
scene.fill.Power = 0.08
scene.rim.Color = q7.color(0.4, 0.5, 1)

-- Add lights.
for i, place in ipairs { q7.vector(-2.6, 3.2, 2.4), q7.vector(3.4, 1.2, 2.8) } do
  local lamp = q7.create("light", { Name = "lamp" .. i, Power = 0.45, Radius = 0.15 })
  lamp.Color = q7.color(1, 0.75, 0.45)
  lamp.Origin = place
  scene.Members:add(lamp)
end
